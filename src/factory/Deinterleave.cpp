// Channel deinterleaving: images whose samples interleave several images pixel by pixel (dual
// and quad sensors, polarisation angles, Stokes parameters, degree and angle of polarisation)
// become one image with the channel images stacked, channel 0 at the top.
#include <Vireo/ImageFactory.h>

#include <algorithm>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <Vireo/Image.h>
#include <Vireo/PixelFormat.h>

#include "../pixelformat/PixelFormatTable.h"
#include "../transport/Errors.h"
#include "FactoryChecks.h"
#include "SampleBlocks.h"

namespace Vireo::ImageFactory {
namespace {

constexpr const char* kUnit = "ImageFactory";
constexpr const char* kAlgorithm = "deinterleave channels";

struct Job {
    SampleLayout source;
    SampleLayout output;
    uint64_t outputFormat;
    size_t width, height;  // of the output
    size_t planes;
    size_t length;         // output bytes
};

bool StartsWith(const std::string& text, const char* head) { return text.rfind(head, 0) == 0; }

uint64_t FormatNamed(const std::string& name) {
    for (const PixelFormatInfo& format : AllPixelFormats())
        if (name == format.name) return format.code;
    return 0;
}

// The plain format each channel image has: "DualMono10" gives Mono10, "QuadBayerRG8"
// BayerRG8, "PolarizedStokes_S0_S1_S2_S3_Mono12p" Mono12p; 0 for a format that is no
// interleaved multi-image format.
uint64_t ChannelFormatOf(const std::string& name) {
    if (StartsWith(name, "Dual") || StartsWith(name, "Quad")) {
        // "_2ch"/"_4ch": the same samples, with a pixel of the width holding every channel.
        const size_t suffix = name.rfind("ch") == name.size() - 2 ? name.rfind('_') : std::string::npos;
        return FormatNamed(name.substr(4, suffix == std::string::npos ? std::string::npos : suffix - 4));
    }
    if (StartsWith(name, "PolarizedAngles_") || StartsWith(name, "PolarizedStokes_") ||
        StartsWith(name, "PolarizedDolpAolp_"))
        return FormatNamed(name.substr(name.rfind('_') + 1));
    return 0;
}

Job Plan(IImage* image, const char* name) {
    CheckInit(name);
    CheckParam(image, name);
    const uint64_t sourceLength = CheckSourceSize(image, name);
    const uint64_t format = image->GetPixelFormat();
    const char* formatName = GetPixelFormatName(format);
    if (FindPixelFormat(format) == nullptr)
        VIREO_THROW_PLAIN(InvalidArgument, std::string("invalid pixel format (") + kAlgorithm + ")", kUnit, name);
    const uint64_t channelFormat = ChannelFormatOf(formatName);
    Job job{};
    job.source = SampleLayoutOf(format, image->GetWidth(), image->GetHeight());
    if (channelFormat == 0 || job.source.storage == SampleLayout::Storage::None || job.source.channels < 2)
        VIREO_THROW_PLAIN(InvalidArgument,
                          std::string("unhandled pixel format ") + formatName + " (" + kAlgorithm + ")", kUnit, name);
    job.planes = job.source.channels;
    job.outputFormat = channelFormat;
    const size_t pixels = image->GetWidth() * image->GetHeight();
    // Where a pixel of the width is one sample, the width counts every channel.
    const bool widthCountsChannels = job.source.samples == pixels;
    job.width = widthCountsChannels ? image->GetWidth() / job.planes : image->GetWidth();
    job.height = image->GetHeight() * job.planes;
    job.output = SampleLayoutOf(channelFormat, job.width, job.height);
    if (job.output.samples != job.source.samples || job.source.samples % job.planes != 0)
        VIREO_THROW_PLAIN(OutOfRange,
                          "the " + std::to_string(job.source.samples) + " samples of the source do not fill " +
                              std::to_string(job.planes) + " images of " + std::to_string(job.width) + " x " +
                              std::to_string(image->GetHeight()) + " (" + kAlgorithm + ")",
                          kUnit, name);
    job.length = size_t(ExpectedLength(job.width, job.height, channelFormat));
    if (image->GetSizeFilled() < sourceLength)
        VIREO_THROW_PLAIN(OutOfRange, std::string("the image holds fewer bytes than its geometry needs (") + kAlgorithm + ")",
                          kUnit, name);
    return job;
}

// The source's samples reordered by plane: sample k x i + c of the source becomes sample i of
// plane c. Packed layouts are read as values here and packed again when stored.
std::vector<uint32_t> Planes(const Job& job, const uint8_t* source) {
    const size_t count = job.source.samples;
    const size_t perPlane = count / job.planes;
    std::vector<uint32_t> planes(count);
    uint32_t values[kSampleBlock];
    for (size_t first = 0; first < count; first += kSampleBlock) {
        const size_t block = std::min(kSampleBlock, count - first);
        LoadSamples(job.source, source, first, block, values);
        for (size_t index = 0; index < block; ++index) {
            const size_t sample = first + index;
            planes[(sample % job.planes) * perPlane + sample / job.planes] = values[index];
        }
    }
    return planes;
}

void Store(const SampleLayout& layout, const uint32_t* values, uint8_t* destination) {
    for (size_t first = 0; first < layout.samples; first += kSampleBlock)
        StoreSamples(layout, destination, first, std::min(kSampleBlock, layout.samples - first), values + first);
}

void Run(const Job& job, const uint8_t* source, uint8_t* destination) {
    Store(job.output, Planes(job, source).data(), destination);
}

} // namespace

size_t DeinterleaveChannelsLen(IImage* pImage) try {
    return Plan(pImage, "DeinterleaveChannelsLen").length;
} catch (const std::bad_alloc&) {
    OutOfMemory("DeinterleaveChannelsLen");
}

IImage* DeinterleaveChannels(IImage* pImage) try {
    constexpr const char* name = "DeinterleaveChannels";
    const Job job = Plan(pImage, name);
    std::unique_ptr<uint8_t[]> block(NewBlock(job.length, true, name));
    Run(job, pImage->GetData(), block.get());
    auto* image = new Image(block.get(), job.length, job.width, job.height, job.outputFormat);
    block.release();
    return image;
} catch (const std::bad_alloc&) {
    OutOfMemory("DeinterleaveChannels");
}

IImage* DeinterleaveChannelsShallow(uint8_t* pDst, size_t dstLen, IImage* pImage) try {
    constexpr const char* name = "DeinterleaveChannelsShallow";
    CheckInit(name);
    CheckParam(pDst, name);
    const Job job = Plan(pImage, name);
    CheckLen(dstLen, job.length, name);
    Run(job, pImage->GetData(), pDst);
    auto* image = new Image(pDst, job.length, job.width, job.height, job.outputFormat);
    image->SetShallow(true);
    return image;
} catch (const std::bad_alloc&) {
    OutOfMemory("DeinterleaveChannelsShallow");
}

std::vector<IImage*> SplitChannels(IImage* pImage) try {
    constexpr const char* name = "SplitChannels";
    const Job job = Plan(pImage, name);
    const std::vector<uint32_t> planes = Planes(job, pImage->GetData());
    const size_t planeHeight = job.height / job.planes;
    const SampleLayout plane = SampleLayoutOf(job.outputFormat, job.width, planeHeight);
    const size_t planeLength = size_t(ExpectedLength(job.width, planeHeight, job.outputFormat));
    std::vector<IImage*> images;
    images.reserve(job.planes);
    try {
        for (size_t index = 0; index < job.planes; ++index) {
            std::unique_ptr<uint8_t[]> block(NewBlock(planeLength, true, name));
            Store(plane, planes.data() + index * plane.samples, block.get());
            images.push_back(new Image(block.get(), planeLength, job.width, planeHeight, job.outputFormat));
            block.release();
        }
    } catch (...) {
        for (IImage* image : images) Destroy(image);
        throw;
    }
    return images;
} catch (const std::bad_alloc&) {
    OutOfMemory("SplitChannels");
}

} // namespace Vireo::ImageFactory
