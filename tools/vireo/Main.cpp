// `vireo`: the SDK's command-line tool. Subcommands list cameras, read and write features,
// grab frames to PNG files, convert image files and save description files.
#include <unistd.h>

#include <iostream>
#include <map>
#include <string>

#include <CLI/CLI.hpp>

#include <Vireo/Vireo.h>

#include "Convert.h"
#include "FeatureCommands.h"
#include "Grab.h"
#include "ToolError.h"

#if defined(__SANITIZE_THREAD__)
// GDAL, which OpenCV's image codecs load, takes its global mutex and a per-use mutex in both
// orders (CPLCreateOrAcquireMutex); the cycle lies wholly inside GDAL, which this program does
// not call on its own, so ThreadSanitizer is told not to report it.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions() {
    return "deadlock:libgdal.so\n";
}
#endif

namespace {

using namespace VireoTool;

constexpr const char* kExitCodes =
    "Exit codes: 0 success, 1 runtime failure (camera, file or conversion), 2 usage error.\n";

constexpr const char* kDeviceHelp = "Serial number of the camera (default: the first camera found)";

int Run(int argc, char** argv) {
    CLI::App app("Vireo camera tool: find cameras, read and set their features, grab frames to PNG files, "
                 "convert image files.",
                 "vireo");
    app.footer(kExitCodes);
    app.require_subcommand(1);
    app.fallthrough(false);
    app.set_version_flag("--version", std::string("vireo ") + Vireo::GetVersion().c_str());

    // Every subcommand documents the exit codes, since scripts read them per subcommand.
    auto subcommand = [&](const char* name, const char* description) {
        CLI::App* command = app.add_subcommand(name, description);
        command->footer(kExitCodes);
        return command;
    };

    CLI::App* devices = subcommand("devices", "List the cameras on every interface: model, serial number, IP "
                                              "address, MAC address and interface.");

    std::string serial;
    std::string filter;
    CLI::App* features = subcommand("features", "Show the camera's feature tree (categories indented) with type, "
                                                "access mode (RW, RO, WO, NA, NI) and current value.");
    features->add_option("--device,-d", serial, kDeviceHelp);
    features->add_option("--filter,-f", filter,
                         "Keep only features whose names contain TEXT (case-insensitive), with their categories");

    std::vector<std::string> names;
    CLI::App* get = subcommand("get", "Print NAME=VALUE for each feature named.");
    get->add_option("--device,-d", serial, kDeviceHelp);
    get->add_option("NAME", names, "Feature names, such as Width or PixelFormat")->required();

    std::vector<std::string> assignments;
    CLI::App* set = subcommand("set", "Set features in the order given and print each value read back; stops at "
                                      "the first failure. A command feature runs with NAME=execute. Settings last "
                                      "as long as the camera keeps them (the virtual cameras: this run only; use "
                                      "grab --set to stream with them).");
    set->add_option("--device,-d", serial, kDeviceHelp);
    set->add_option("NAME=VALUE", assignments, "Assignments, such as Width=640 or PixelFormat=Mono12p")->required();

    GrabOptions grabOptions;
    std::string algorithm = "bilinear";
    CLI::App* grab = subcommand("grab", "Stream frames, convert each and write them as PNG files named "
                                        "frame_<frame id>.png, with a progress bar on stderr and a summary on stdout "
                                        "(frames, drops, incomplete frames, CRC failures, fps, MB/s). Fails (1) when "
                                        "frames are missing, incomplete, fail their CRC or cannot be written.");
    grab->add_option("--count,-n", grabOptions.count, "Number of frames")->required()->check(CLI::PositiveNumber);
    grab->add_option("--device,-d", grabOptions.serial, kDeviceHelp);
    grab->add_option("--format", grabOptions.format,
                     "Pixel format the frames are converted to before writing (default: Mono8 for mono cameras, BGR8 "
                     "for colour ones); deeper than 8 bits gives 16-bit PNG files");
    grab->add_option("--out,-o", grabOptions.outDir, "Directory for the PNG files (created if missing)")
        ->capture_default_str();
    grab->add_flag("--chunks", grabOptions.chunks, "Turn on the CRC chunk and check every frame against it");
    grab->add_flag("--compress", grabOptions.compress,
                   "Ask the camera for QOI-compressed frames (8-bit mono, Bayer, RGB and BGR) and decompress them");
    grab->add_option("--algorithm", algorithm, "Demosaicing of Bayer frames")
        ->check(CLI::IsMember({"bilinear", "ahd"}))
        ->capture_default_str();
    grab->add_option("--set", grabOptions.settings, "NAME=VALUE set on the camera before streaming (repeatable)");
    grab->add_option("--timeout", grabOptions.timeoutMs,
                     "Milliseconds to wait for each frame (default: 2000 plus three frame periods)");
    grab->add_option("--buffers", grabOptions.buffers, "Buffers the stream cycles through")
        ->check(CLI::Range(size_t(2), size_t(1000)))
        ->capture_default_str();
    grab->add_flag("--no-write", grabOptions.noWrite, "Measure the stream only; write no files");

    ConvertOptions convertOptions;
    std::string convertAlgorithm = "bilinear";
    CLI::App* convert = subcommand(
        "convert", "Convert an image file to another pixel format. IN is a PNG file (8/16-bit grey or colour) or raw "
                   "pixel data described by IN.json ({\"width\":W,\"height\":H,\"pixelFormat\":\"BayerRG8\"}) or by "
                   "--from, --width and --height. OUT is a PNG file, or raw data (any other extension) with its "
                   "layout written to OUT.json.");
    convert->add_option("IN", convertOptions.input, "Input file")->required();
    convert->add_option("OUT", convertOptions.output, "Output file")->required();
    convert->add_option("--to", convertOptions.to, "Target pixel format, such as BGR8 or Mono12p")->required();
    convert->add_option("--from", convertOptions.from,
                        "Pixel format of raw input; for PNG input, read its samples as this format of the same "
                        "bits per pixel (e.g. a Bayer mosaic saved as grey)");
    convert->add_option("--width", convertOptions.width, "Width of raw input")->check(CLI::PositiveNumber);
    convert->add_option("--height", convertOptions.height, "Height of raw input")->check(CLI::PositiveNumber);
    convert->add_option("--algorithm", convertAlgorithm, "Demosaicing of Bayer input")
        ->check(CLI::IsMember({"bilinear", "ahd"}))
        ->capture_default_str();

    std::string xmlOut;
    CLI::App* xml = subcommand("xml", "Write the camera's description file (GenICam XML).");
    xml->add_option("--device,-d", serial, kDeviceHelp);
    xml->add_option("--out,-o", xmlOut, "File to write (default: <serial>.xml in the working directory)");

    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& success) {
        return app.exit(success);  // --help, --version
    } catch (const CLI::ParseError& error) {
        // CLI11 takes an unknown command for a stray argument; name it as what it is.
        if (argc > 1 && argv[1][0] != '-' && app.get_subcommands().empty()) {
            std::cerr << "vireo: unknown command '" << argv[1] << "'\nRun 'vireo --help' for the commands.\n";
            return kExitUsage;
        }
        std::cerr << "vireo: " << OneLine(error.what()) << "\nRun 'vireo --help' or 'vireo <command> --help'.\n";
        return kExitUsage;
    }

    auto bayerAlgorithm = [](const std::string& name) {
        return name == "ahd" ? Vireo::BayerAlgorithmAHD : Vireo::BayerAlgorithmBilinear;
    };
    if (*devices) return ListDevices(std::cout);
    if (*features) return ListFeatures(serial, filter, std::cout);
    if (*get) return GetFeatures(serial, names, std::cout);
    if (*set) return SetFeatures(serial, assignments, std::cout);
    if (*grab) {
        grabOptions.algorithm = bayerAlgorithm(algorithm);
        return Grab(grabOptions, std::cout, std::cerr, ::isatty(STDERR_FILENO) == 1);
    }
    if (*convert) {
        convertOptions.algorithm = bayerAlgorithm(convertAlgorithm);
        return ConvertFile(convertOptions, std::cout);
    }
    if (*xml) return WriteDescription(serial, xmlOut, std::cout);
    return kExitUsage;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return Run(argc, argv);
    } catch (const VireoTool::ToolError& error) {
        std::cout.flush();
        std::cerr << "vireo: " << VireoTool::OneLine(error.what()) << '\n';
        return error.ExitCode();
    } catch (const GenICam::GenericException& error) {
        std::cout.flush();
        std::cerr << "vireo: " << VireoTool::OneLine(error.GetDescription()) << '\n';
        return VireoTool::kExitRuntimeFailure;
    } catch (const std::exception& error) {
        std::cout.flush();
        std::cerr << "vireo: " << VireoTool::OneLine(error.what()) << '\n';
        return VireoTool::kExitRuntimeFailure;
    }
}
