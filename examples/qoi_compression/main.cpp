// qoi_compression: compress a frame to QOI on the host and check that it decompresses to the
// same pixels; then let the camera compress its frames itself, to save link bandwidth.
#include <Vireo/Vireo.h>

#include <GenApi/GenApi.h>

#include <cstring>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <vector>

namespace {

// Factory images go back to the factory when their pointer goes out of scope.
using FactoryImage = std::unique_ptr<Vireo::IImage, void (*)(Vireo::IImage*)>;
using FactoryCompressed = std::unique_ptr<Vireo::ICompressedImage, void (*)(Vireo::ICompressedImage*)>;

} // namespace

int main() {
    Vireo::ISystem* system = nullptr;
    Vireo::IDevice* camera = nullptr;
    int exitCode = 0;
    try {
        system = Vireo::OpenSystem();
        system->UpdateDevices(500);
        const std::vector<Vireo::DeviceInfo> cameras = system->GetDevices();
        if (cameras.empty()) throw std::runtime_error("no camera found");
        camera = system->CreateDevice(cameras.front());
        GenApi::INodeMap* features = camera->GetNodeMap();
        // QOI takes 8-bit samples: a Bayer mosaic or grey as one channel, RGB/BGR as three.
        GenApi::CEnumerationPtr pixelFormat = features->GetNode("PixelFormat");
        const bool bayer = GenApi::IsAvailable(pixelFormat->GetEntryByName("BayerRG8"));
        Vireo::SetNodeValue<GenICam::gcstring>(features, "PixelFormat", bayer ? "BayerRG8" : "Mono8");

        // 1. On the host: compress a delivered frame, decompress it, compare every byte.
        camera->StartStream(2);
        Vireo::IImage* frame = camera->GetImage(2000);
        const size_t rawBytes =
            Vireo::ImageFactory::ExpectedLength(frame->GetWidth(), frame->GetHeight(), frame->GetPixelFormat());
        FactoryCompressed compressed(Vireo::ImageFactory::CompressImage(frame),
                                     Vireo::ImageFactory::DestroyCompressedImage);
        FactoryImage restored(Vireo::ImageFactory::DecompressImage(compressed.get()), Vireo::ImageFactory::Destroy);
        // QOI is lossless: anything but identical pixels is a fault.
        const bool identical = restored->GetPixelFormat() == frame->GetPixelFormat() &&
                               restored->GetWidth() == frame->GetWidth() && restored->GetHeight() == frame->GetHeight() &&
                               std::memcmp(restored->GetData(), frame->GetData(), rawBytes) == 0;
        std::cout << Vireo::GetPixelFormatName(frame->GetPixelFormat()) << ' ' << frame->GetWidth() << " x "
                  << frame->GetHeight() << ": " << rawBytes << " bytes -> "
                  << Vireo::GetPixelFormatName(compressed->GetPixelFormat()) << ' ' << compressed->GetSizeFilled()
                  << " bytes, ratio " << double(rawBytes) / double(compressed->GetSizeFilled()) << ":1, "
                  << (identical ? "decompressed identical" : "decompressed DIFFERENT") << '\n';
        camera->RequeueBuffer(frame);
        camera->StopStream();
        if (!identical) exitCode = 1;

        // 2. On the camera, where it can: the link then carries the QOI stream, and frames
        // arrive as ICompressedImage. Image geometry comes from the stream's own header.
        if (GenApi::IsAvailable(features->GetNode("ImageCompressionMode"))) {
            Vireo::SetNodeValue<GenICam::gcstring>(features, "ImageCompressionMode", "QOI");
            camera->StartStream(2);
            for (int index = 0; index < 3; ++index) {
                Vireo::ICompressedImage* sent = camera->GetCompressedImage(2000);
                FactoryImage image(Vireo::ImageFactory::DecompressImage(sent), Vireo::ImageFactory::Destroy);
                std::cout << "Camera frame " << sent->GetFrameId() << ": " << sent->GetSizeFilled()
                          << " bytes on the link for " << image->GetWidth() << " x " << image->GetHeight() << ' '
                          << Vireo::GetPixelFormatName(image->GetPixelFormat()) << '\n';
                camera->RequeueBuffer(sent);
            }
            camera->StopStream();
            Vireo::SetNodeValue<GenICam::gcstring>(features, "ImageCompressionMode", "Off");
        }
    } catch (const GenICam::GenericException& error) {
        std::cerr << "Error: " << error.what() << '\n';
        exitCode = 1;
    } catch (const std::exception& error) {
        std::cerr << "Error: " << error.what() << '\n';
        exitCode = 1;
    }
    // DestroyDevice also stops a stream that an error left running.
    try {
        if (camera != nullptr) system->DestroyDevice(camera);
        if (system != nullptr) Vireo::CloseSystem(system);
    } catch (const GenICam::GenericException& error) {
        std::cerr << "Error while closing: " << error.what() << '\n';
        exitCode = 1;
    }
    return exitCode;
}
