// The `vireo` tool driven as a user drives it: a separate process with arguments, judged by
// its exit code, its output and the files it writes. Every run opens the virtual producer
// afresh, so frame ids start at 1 and the test pattern of each frame is known.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <GenApi/GenApi.h>

extern char** environ;

#if defined(__SANITIZE_THREAD__)
// GDAL, which OpenCV's image codecs load, takes its global mutex and a per-use mutex in both
// orders (CPLCreateOrAcquireMutex); the cycle lies wholly inside GDAL, which this program does
// not call on its own, so ThreadSanitizer is told not to report it.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions() {
    return "deadlock:libgdal.so\n";
}
#endif

namespace {

namespace fs = std::filesystem;

struct Result {
    int exitCode = -1;
    std::string out, err;
};

std::string ReadFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

class Tool : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "vireo-tool-test-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        m_dir = pattern;
    }
    void TearDown() override { fs::remove_all(m_dir); }

    const fs::path& Dir() const { return m_dir; }

    // Runs the tool in the test's directory with stdout and stderr captured; `environment`
    // adds or replaces variables of this process's environment.
    Result Run(const std::vector<std::string>& arguments, const std::vector<std::string>& environment = {}) {
        std::vector<std::string> all{VIREO_TOOL_PATH};
        all.insert(all.end(), arguments.begin(), arguments.end());
        std::vector<char*> argv;
        for (std::string& argument : all) argv.push_back(argument.data());
        argv.push_back(nullptr);
        const std::string outPath = (m_dir / ".stdout").string(), errPath = (m_dir / ".stderr").string();
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        posix_spawn_file_actions_addchdir_np(&actions, m_dir.c_str());
        std::vector<std::string> variables(environment);
        for (char** entry = environ; *entry != nullptr; ++entry) {
            const std::string variable = *entry;
            const std::string name = variable.substr(0, variable.find('=') + 1);
            if (std::none_of(environment.begin(), environment.end(),
                             [&](const std::string& added) { return added.rfind(name, 0) == 0; }))
                variables.push_back(variable);
        }
        std::vector<char*> envp;
        for (std::string& variable : variables) envp.push_back(variable.data());
        envp.push_back(nullptr);
        pid_t pid = 0;
        Result result;
        const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
        posix_spawn_file_actions_destroy(&actions);
        if (spawned != 0) {
            ADD_FAILURE() << "cannot start " << argv[0];
            return result;
        }
        int status = 0;
        ::waitpid(pid, &status, 0);
        result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        result.out = ReadFile(outPath);
        result.err = ReadFile(errPath);
        fs::remove(outPath);
        fs::remove(errPath);
        return result;
    }

    // A failure as scripts see it: the expected exit code and one line on stderr naming what.
    void ExpectOneLineError(const std::vector<std::string>& arguments, int exitCode, const std::string& mentioned) {
        const Result result = Run(arguments);
        std::string command;
        for (const std::string& argument : arguments) command += argument + ' ';
        EXPECT_EQ(result.exitCode, exitCode) << command << '\n' << result.err;
        EXPECT_NE(result.err.find(mentioned), std::string::npos) << command << '\n' << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << command << '\n' << result.err;
    }

private:
    fs::path m_dir;
};

// A sample of the virtual camera's test pattern: a diagonal ramp over 256 steps that moves
// one step per row and per frame, the channels 85 steps apart.
uint32_t PatternSample(uint32_t x, uint32_t y, uint64_t frameId, uint32_t channel, uint32_t sampleBits,
                       uint32_t pixelsPerStep) {
    const uint32_t levels = 1u << sampleBits;
    const uint32_t position = x + uint32_t((y + frameId) % 256) * pixelsPerStep + channel * 85;
    return uint32_t(uint64_t(position) * levels / 256 % levels);
}

// The colour camera's colour bars: 8 bars 32 positions wide (white, yellow, cyan, green,
// magenta, red, blue, black), moving as the ramp does; component 0 red, 1 green, 2 blue.
uint8_t BarSample(uint32_t x, uint32_t y, uint64_t frameId, uint32_t component) {
    static const char* const kBars[8] = {"111", "110", "011", "010", "101", "100", "001", "000"};
    const uint32_t position = x + uint32_t((y + frameId) % 256);
    return kBars[(position / 32) % 8][component] == '1' ? 255 : 0;
}

uint64_t FrameIdOf(const fs::path& file) { return std::stoull(file.stem().string().substr(6)); }

std::vector<fs::path> PngFiles(const fs::path& directory) {
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(directory))
        if (entry.path().extension() == ".png") files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

TEST_F(Tool, EveryCommandHasHelpAndBadCommandLinesExitWithTwo) {
    const Result help = Run({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    for (const char* command : {"devices", "features", "get", "set", "grab", "convert", "xml"}) {
        EXPECT_NE(help.out.find(command), std::string::npos) << command;
        const Result commandHelp = Run({command, "--help"});
        EXPECT_EQ(commandHelp.exitCode, 0) << command;
        EXPECT_NE(commandHelp.out.find("Exit codes: 0 success, 1 runtime failure"), std::string::npos) << command;
    }
    EXPECT_EQ(Run({}).exitCode, 2);
    EXPECT_EQ(Run({"snapshot"}).exitCode, 2);
    EXPECT_EQ(Run({"devices", "--colour"}).exitCode, 2);
    EXPECT_EQ(Run({"get"}).exitCode, 2);                              // a name is required
    EXPECT_EQ(Run({"grab"}).exitCode, 2);                             // --count is required
    EXPECT_EQ(Run({"grab", "--count", "0"}).exitCode, 2);
    EXPECT_EQ(Run({"grab", "--count", "2", "--algorithm", "nearest"}).exitCode, 2);
    ExpectOneLineError({"grab", "--count", "1", "--format", "Mono7"}, 2, "Mono7");
    ExpectOneLineError({"set", "Width"}, 2, "NAME=VALUE");
    const Result noTarget = Run({"convert", "a.png", "b.png"});
    EXPECT_EQ(noTarget.exitCode, 2);
    EXPECT_EQ(noTarget.err.find("vireo: --to is required"), 0u) << noTarget.err;
}

TEST_F(Tool, DevicesListsEveryVirtualCameraInAlignedColumns) {
    const Result result = Run({"devices"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    std::vector<std::string> lines;
    std::istringstream text(result.out);
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    ASSERT_GE(lines.size(), 7u);
    EXPECT_EQ(lines[0].rfind("MODEL", 0), 0u);
    const size_t serialColumn = lines[0].find("SERIAL"), ipColumn = lines[0].find("IP");
    bool colourFound = false;
    for (size_t index = 1; index < lines.size(); ++index) {
        ASSERT_GT(lines[index].size(), ipColumn) << lines[index];
        EXPECT_EQ(lines[index][serialColumn - 1], ' ') << "columns misaligned: " << lines[index];
        EXPECT_NE(lines[index][serialColumn], ' ') << "columns misaligned: " << lines[index];
        EXPECT_NE(lines[index][ipColumn], ' ') << "columns misaligned: " << lines[index];
        if (lines[index].find("VC2448C-0001") == std::string::npos) continue;
        colourFound = true;
        EXPECT_EQ(lines[index].rfind("VC-2448C", 0), 0u);
        EXPECT_EQ(lines[index].find("VC2448C-0001"), serialColumn);
        EXPECT_EQ(lines[index].find("192.168.10.11"), ipColumn);
        EXPECT_NE(lines[index].find("02:56:49:52:00:A1"), std::string::npos) << lines[index];
    }
    EXPECT_TRUE(colourFound) << result.out;
    EXPECT_NE(result.out.find("VM1280M-0002"), std::string::npos);  // on the second interface
}

TEST_F(Tool, FeaturesShowsTheTreeAndFiltersByName) {
    const Result all = Run({"features", "--device", "VM1280M-0001"});
    ASSERT_EQ(all.exitCode, 0) << all.err;
    EXPECT_NE(all.out.find("Gain"), std::string::npos);
    // Width sits one level below its category, with its type, access and value.
    const Result filtered = Run({"features", "--device", "VM1280M-0001", "--filter", "WIDTH"});
    ASSERT_EQ(filtered.exitCode, 0) << filtered.err;
    EXPECT_EQ(filtered.out.find("Gain"), std::string::npos) << filtered.out;
    EXPECT_NE(filtered.out.find("\nRoot "), std::string::npos) << filtered.out;
    const size_t category = filtered.out.find("\n  ImageFormatControl ");
    const size_t width = filtered.out.find("\n    Width ");
    ASSERT_NE(category, std::string::npos) << filtered.out;
    ASSERT_NE(width, std::string::npos) << filtered.out;
    EXPECT_LT(category, width);
    const std::string widthLine = filtered.out.substr(width + 1, filtered.out.find('\n', width + 1) - width - 1);
    for (const char* cell : {"Integer", "RW", "1280"}) EXPECT_NE(widthLine.find(cell), std::string::npos) << widthLine;
    EXPECT_NE(filtered.out.find("SensorWidth"), std::string::npos);
    ExpectOneLineError({"features", "--filter", "NoSuchThing"}, 1, "NoSuchThing");
}

TEST_F(Tool, GetAndSetReportValuesAndRefuseWhatTheCameraRefuses) {
    const Result got = Run({"get", "--device", "VM1280M-0001", "Width", "PixelFormat", "DeviceSerialNumber"});
    ASSERT_EQ(got.exitCode, 0) << got.err;
    EXPECT_EQ(got.out, "Width=1280\nPixelFormat=Mono8\nDeviceSerialNumber=VM1280M-0001\n");
    // The default camera is the first one found.
    const Result first = Run({"get", "DeviceSerialNumber"});
    ASSERT_EQ(first.exitCode, 0) << first.err;
    EXPECT_EQ(first.out.find("DeviceSerialNumber="), 0u);

    const Result set = Run({"set", "--device", "VM1280M-0001", "Width=640", "Gain=6.5", "PixelFormat=Mono12p"});
    ASSERT_EQ(set.exitCode, 0) << set.err;
    EXPECT_NE(set.out.find("Width=640\n"), std::string::npos) << set.out;
    EXPECT_NE(set.out.find("Gain=6.5"), std::string::npos) << set.out;
    EXPECT_NE(set.out.find("PixelFormat=Mono12p\n"), std::string::npos) << set.out;

    ExpectOneLineError({"get", "NoSuchFeature"}, 1, "NoSuchFeature");
    ExpectOneLineError({"get", "--device", "XX-404", "Width"}, 1, "XX-404");
    ExpectOneLineError({"get", "ImageFormatControl"}, 1, "category");
    ExpectOneLineError({"set", "NoSuchFeature=1"}, 1, "NoSuchFeature");
    ExpectOneLineError({"set", "Width=wide"}, 1, "not an integer");
    ExpectOneLineError({"set", "Width=100000"}, 1, "out of range");
    ExpectOneLineError({"set", "Width=641"}, 1, "increment");
    ExpectOneLineError({"set", "Gain=loud"}, 1, "not a number");
    ExpectOneLineError({"set", "--device", "VM1280M-0001", "PixelFormat=BayerRG8"}, 1, "Mono12p");  // lists choices
    ExpectOneLineError({"set", "DeviceSerialNumber=X"}, 1, "not writable");
    ExpectOneLineError({"set", "--device", "XX-404", "Width=640"}, 1, "XX-404");

    // Assignments run in order up to the first failure; what was set before it is reported.
    const Result partly = Run({"set", "Width=640", "Height=tall", "Gain=2"});
    EXPECT_EQ(partly.exitCode, 1);
    EXPECT_EQ(partly.out, "Width=640\n");
    EXPECT_NE(partly.err.find("'tall' is not an integer (Height)"), std::string::npos) << partly.err;
}

TEST_F(Tool, GrabWritesMonoFramesThatMatchTheTestPattern) {
    const Result result = Run({"grab", "--count", "3", "--device", "VM1280M-0001", "--out", "frames", "--set",
                               "Width=64", "--set", "Height=40", "--set", "AcquisitionFrameRateEnable=false"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(result.out.find("frames      3\n"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("drops       0\n"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("incomplete  0\n"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("fps "), std::string::npos);
    EXPECT_NE(result.out.find("MB/s "), std::string::npos);
    EXPECT_NE(result.err.find("grab: 3/3 frames"), std::string::npos) << result.err;  // stderr is no terminal

    const std::vector<fs::path> files = PngFiles(Dir() / "frames");
    ASSERT_EQ(files.size(), 3u);
    EXPECT_EQ(files[0].filename(), "frame_000001.png");
    for (const fs::path& file : files) {
        const cv::Mat image = cv::imread(file.string(), cv::IMREAD_UNCHANGED);
        ASSERT_EQ(image.type(), CV_8UC1) << file;
        ASSERT_EQ(image.cols, 64);
        ASSERT_EQ(image.rows, 40);
        const uint64_t frameId = FrameIdOf(file);
        for (int y = 0; y < image.rows; ++y)
            for (int x = 0; x < image.cols; ++x)
                ASSERT_EQ(image.at<uint8_t>(y, x), PatternSample(x, y, frameId, 0, 8, 1)) << file << " at " << x << ',' << y;
    }
}

TEST_F(Tool, GrabConvertsColourAndDeepFramesAndChecksTheirCrc) {
    // RGB8 from the colour camera's bars, written as BGR8: OpenCV's channel order, 8 bits.
    const Result colour = Run({"grab", "--count", "2", "--device", "VC2448C-0001", "--out", "colour", "--chunks",
                               "--set", "PixelFormat=RGB8", "--set", "Width=80", "--set", "Height=16"});
    ASSERT_EQ(colour.exitCode, 0) << colour.err;
    EXPECT_NE(colour.out.find("crc errors  0\n"), std::string::npos) << colour.out;
    for (const fs::path& file : PngFiles(Dir() / "colour")) {
        const cv::Mat image = cv::imread(file.string(), cv::IMREAD_UNCHANGED);
        ASSERT_EQ(image.type(), CV_8UC3) << file;
        const uint64_t frameId = FrameIdOf(file);
        for (int y = 0; y < image.rows; ++y)
            for (int x = 0; x < image.cols; ++x) {
                const cv::Vec3b pixel = image.at<cv::Vec3b>(y, x);
                ASSERT_EQ(pixel[2], BarSample(x, y, frameId, 0)) << "red at " << x << ',' << y;
                ASSERT_EQ(pixel[1], BarSample(x, y, frameId, 1)) << "green at " << x << ',' << y;
                ASSERT_EQ(pixel[0], BarSample(x, y, frameId, 2)) << "blue at " << x << ',' << y;
            }
    }
    EXPECT_EQ(PngFiles(Dir() / "colour").size(), 2u);

    // Mono12p (two pixels per step) widened to Mono16: a 16-bit PNG with the 12 bits on top.
    const Result deep = Run({"grab", "--count", "2", "--device", "VM1280M-0001", "--out", "deep", "--format",
                             "Mono16", "--set", "PixelFormat=Mono12p", "--set", "Width=32", "--set", "Height=8"});
    ASSERT_EQ(deep.exitCode, 0) << deep.err;
    const std::vector<fs::path> files = PngFiles(Dir() / "deep");
    ASSERT_EQ(files.size(), 2u);
    for (const fs::path& file : files) {
        const cv::Mat image = cv::imread(file.string(), cv::IMREAD_UNCHANGED);
        ASSERT_EQ(image.type(), CV_16UC1) << file;
        for (int y = 0; y < image.rows; ++y)
            for (int x = 0; x < image.cols; ++x)
                ASSERT_EQ(image.at<uint16_t>(y, x), PatternSample(x, y, FrameIdOf(file), 0, 12, 2) << 4)
                    << file << " at " << x << ',' << y;
    }
}

TEST_F(Tool, GrabDecompressesQoiFramesToTheSameImagesAsUncompressedOnes) {
    const std::vector<std::string> common{"grab", "--count", "2", "--device", "VC2448C-0001", "--set",
                                          "PixelFormat=BayerRG8", "--set", "Width=40", "--set", "Height=24"};
    std::vector<std::string> compressed = common, plain = common;
    // With --chunks the compressed streams are checked against their CRC chunk too.
    compressed.insert(compressed.end(), {"--compress", "--chunks", "--out", "qoi"});
    plain.insert(plain.end(), {"--out", "plain"});
    const Result fromQoi = Run(compressed);
    ASSERT_EQ(fromQoi.exitCode, 0) << fromQoi.err;
    EXPECT_NE(fromQoi.out.find("compressed  2\n"), std::string::npos) << fromQoi.out;
    EXPECT_NE(fromQoi.out.find("crc errors  0\n"), std::string::npos) << fromQoi.out;
    ASSERT_EQ(Run(plain).exitCode, 0);
    for (const char* name : {"frame_000001.png", "frame_000002.png"}) {
        const cv::Mat decoded = cv::imread((Dir() / "qoi" / name).string(), cv::IMREAD_UNCHANGED);
        const cv::Mat reference = cv::imread((Dir() / "plain" / name).string(), cv::IMREAD_UNCHANGED);
        ASSERT_EQ(decoded.type(), CV_8UC3) << name;  // demosaiced to BGR8 by default
        ASSERT_EQ(reference.size(), decoded.size());
        EXPECT_EQ(cv::norm(decoded, reference, cv::NORM_INF), 0.0) << name;
    }
    ExpectOneLineError({"grab", "--count", "1", "--device", "XX-404"}, 1, "XX-404");
}

TEST_F(Tool, GrabRefusesWhatItCouldNotWriteBeforeStreaming) {
    // The depth camera's 3D coordinates have no route to an image file: said at once, no files.
    ExpectOneLineError({"grab", "--count", "2", "--device", "VT640D-0001", "--out", "depth"}, 1, "Coord3D_ABCY16");
    EXPECT_TRUE(PngFiles(Dir() / "depth").empty());
    ExpectOneLineError({"grab", "--count", "2", "--device", "VC2448C-0001", "--set", "PixelFormat=BayerRG12p",
                        "--format", "BayerRG12p"}, 1, "packed BayerRG12p");
    std::ofstream(Dir() / "taken") << "a file, not a directory";
    ExpectOneLineError({"grab", "--count", "1", "--out", "taken"}, 1, "taken");
    ExpectOneLineError({"grab", "--count", "1", "--set", "Width=9"}, 1, "increment");
}

// Another vendor's producer put first on the library path, as the README tells users to: the
// virtual producer built as such a producer.
TEST_F(Tool, TheCommandsWorkOnAnotherVendorsProducer) {
    const std::vector<std::string> foreign{std::string("LD_LIBRARY_PATH=") + VIREO_FOREIGN_PRODUCER_DIR};
    const Result devices = Run({"devices"}, foreign);
    ASSERT_EQ(devices.exitCode, 0) << devices.err;
    for (const char* serial : {"VC2448C-0001", "VM1280M-0001", "VL4096L-0001"})
        EXPECT_NE(devices.out.find(serial), std::string::npos) << devices.out;
    EXPECT_EQ(devices.out.find("192.168.10.11"), std::string::npos) << "that producer does not tell addresses";

    const Result features = Run({"features", "--device", "VM1280M-0001", "--filter", "Width"}, foreign);
    ASSERT_EQ(features.exitCode, 0) << features.err;
    EXPECT_NE(features.out.find("SensorWidth"), std::string::npos);
    const Result set = Run({"set", "--device", "VM1280M-0001", "Width=640"}, foreign);
    ASSERT_EQ(set.exitCode, 0) << set.err;
    const Result got = Run({"get", "--device", "VM1280M-0001", "Width"}, foreign);
    ASSERT_EQ(got.exitCode, 0) << got.err;
    EXPECT_EQ(got.out, "Width=1280\n") << "each run opens the camera afresh";

    // More frames than buffers: the producer is told to acquire until stopped.
    const Result grab = Run({"grab", "--count", "50", "--device", "VM1280M-0001", "--out", "frames", "--set", "Width=64",
                             "--set", "Height=40", "--set", "AcquisitionFrameRateEnable=false"},
                            foreign);
    ASSERT_EQ(grab.exitCode, 0) << grab.err;
    EXPECT_NE(grab.out.find("frames      50\n"), std::string::npos) << grab.out;
    EXPECT_EQ(PngFiles(Dir() / "frames").size(), 50u);
}

TEST_F(Tool, ConvertRoundTripsThroughPackedRawFilesAndSidecars) {
    cv::Mat grey(6, 10, CV_8UC1);
    for (int y = 0; y < grey.rows; ++y)
        for (int x = 0; x < grey.cols; ++x) grey.at<uint8_t>(y, x) = uint8_t(x * 25 + y * 7);
    ASSERT_TRUE(cv::imwrite((Dir() / "grey.png").string(), grey));

    const Result packed = Run({"convert", "grey.png", "grey.raw", "--to", "Mono12p"});
    ASSERT_EQ(packed.exitCode, 0) << packed.err;
    EXPECT_EQ(fs::file_size(Dir() / "grey.raw"), 10u * 6 * 12 / 8);
    const auto sidecar = nlohmann::json::parse(ReadFile(Dir() / "grey.raw.json"));
    EXPECT_EQ(sidecar["width"], 10);
    EXPECT_EQ(sidecar["height"], 6);
    EXPECT_EQ(sidecar["pixelFormat"], "Mono12p");

    ASSERT_EQ(Run({"convert", "grey.raw", "back.png", "--to", "Mono8"}).exitCode, 0);
    EXPECT_EQ(cv::norm(cv::imread((Dir() / "back.png").string(), cv::IMREAD_UNCHANGED), grey, cv::NORM_INF), 0.0);
    ASSERT_EQ(Run({"convert", "grey.raw", "deep.png", "--to", "Mono16"}).exitCode, 0);
    const cv::Mat deep = cv::imread((Dir() / "deep.png").string(), cv::IMREAD_UNCHANGED);
    ASSERT_EQ(deep.type(), CV_16UC1);
    EXPECT_EQ(deep.at<uint16_t>(3, 4), uint16_t(grey.at<uint8_t>(3, 4)) << 8);

    // Without a sidecar the layout comes from the command line, and has to be whole.
    fs::rename(Dir() / "grey.raw.json", Dir() / "kept.json");
    ExpectOneLineError({"convert", "grey.raw", "x.png", "--to", "Mono8"}, 1, "grey.raw.json");
    ExpectOneLineError({"convert", "grey.raw", "x.png", "--to", "Mono8", "--from", "Mono12p"}, 2, "--width");
    ExpectOneLineError({"convert", "grey.raw", "x.png", "--to", "Mono8", "--from", "Mono12p", "--width", "10",
                        "--height", "7"}, 1, "holds 90 bytes");
    ASSERT_EQ(Run({"convert", "grey.raw", "again.png", "--to", "Mono8", "--from", "Mono12p", "--width", "10",
                   "--height", "6"}).exitCode, 0);
    EXPECT_EQ(cv::norm(cv::imread((Dir() / "again.png").string(), cv::IMREAD_UNCHANGED), grey, cv::NORM_INF), 0.0);

    // Colour: BGR8 PNG to RGB8 raw swaps the channels; a grey PNG read as a Bayer mosaic demosaics.
    cv::Mat colour(2, 2, CV_8UC3, cv::Scalar(10, 20, 30));
    ASSERT_TRUE(cv::imwrite((Dir() / "colour.png").string(), colour));
    ASSERT_EQ(Run({"convert", "colour.png", "colour.rgb", "--to", "RGB8"}).exitCode, 0);
    EXPECT_EQ(ReadFile(Dir() / "colour.rgb").substr(0, 3), std::string("\x1e\x14\x0a"));
    ASSERT_EQ(Run({"convert", "grey.png", "mosaic.png", "--from", "BayerRG8", "--to", "BGR8"}).exitCode, 0);
    EXPECT_EQ(cv::imread((Dir() / "mosaic.png").string(), cv::IMREAD_UNCHANGED).type(), CV_8UC3);

    ExpectOneLineError({"convert", "missing.png", "x.png", "--to", "Mono8"}, 1, "missing.png");
    ExpectOneLineError({"convert", "grey.png", "x.png", "--to", "Mono9"}, 2, "Mono9");
    ExpectOneLineError({"convert", "colour.png", "x.png", "--from", "Mono16", "--to", "Mono8"}, 2, "24 bits");
}

TEST_F(Tool, XmlWritesADescriptionFileTheEngineLoads) {
    const Result named = Run({"xml", "--device", "VM1280M-0001", "--out", "camera.xml"});
    ASSERT_EQ(named.exitCode, 0) << named.err;
    const Result byDefault = Run({"xml", "--device", "VC2448C-0001"});
    ASSERT_EQ(byDefault.exitCode, 0) << byDefault.err;
    EXPECT_TRUE(fs::exists(Dir() / "VC2448C-0001.xml"));
    // Nothing else is left behind: no scratch directory, no serial-named file for the named one.
    EXPECT_FALSE(fs::exists(Dir() / "VM1280M-0001.xml"));
    size_t entries = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(Dir())) ++entries;
    EXPECT_EQ(entries, 2u);

    GenApi::CNodeMapFactory factory(GenApi::ContentType_Xml, (Dir() / "camera.xml").string().c_str());
    GenApi::INodeMap* features = factory.CreateNodeMap();
    ASSERT_NE(features, nullptr);
    EXPECT_NE(features->GetNode("Width"), nullptr);
    EXPECT_NE(features->GetNode("PixelFormat"), nullptr);
    dynamic_cast<GenApi::IDestroy*>(features)->Destroy();

    ExpectOneLineError({"xml", "--device", "XX-404"}, 1, "XX-404");
    ExpectOneLineError({"xml", "--out", "no/such/directory/camera.xml"}, 1, "no/such/directory");
}

} // namespace
