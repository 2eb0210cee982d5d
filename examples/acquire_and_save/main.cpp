// acquire_and_save: open the first camera found, stream ten frames and save the last one as a
// PNG file (last_frame.png in the working directory).
#include <Vireo/Vireo.h>

#include <opencv2/imgcodecs.hpp>

#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

int main() {
    Vireo::ISystem* system = nullptr;
    Vireo::IDevice* camera = nullptr;
    int exitCode = 0;
    try {
        system = Vireo::OpenSystem();
        system->UpdateDevices(500);  // milliseconds every interface may take to answer
        const std::vector<Vireo::DeviceInfo> cameras = system->GetDevices();
        if (cameras.empty()) throw std::runtime_error("no camera found");
        const Vireo::DeviceInfo& info = cameras.front();
        std::cout << "Opening " << info.ModelName() << " (" << info.SerialNumber() << ") at "
                  << info.IpAddressStr() << '\n';
        camera = system->CreateDevice(info);

        // Several buffers let the camera fill the next frame while this program still holds one.
        camera->StartStream(4);
        for (int frame = 1; frame <= 10; ++frame) {
            Vireo::IImage* image = camera->GetImage(2000);  // milliseconds
            std::cout << "Frame " << image->GetFrameId() << ": " << image->GetWidth() << " x "
                      << image->GetHeight() << ' ' << Vireo::GetPixelFormatName(image->GetPixelFormat())
                      << (image->IsIncomplete() ? " (incomplete)" : "") << '\n';
            if (frame == 10) {
                // PNG holds grey or colour pixels, not a raw sensor mosaic: colour and Bayer
                // frames become BGR8 (OpenCV's channel order), everything else Mono8.
                const uint64_t format = image->GetPixelFormat();
                const bool colour = std::string(Vireo::GetPixelFormatName(format)).rfind("Bayer", 0) == 0 ||
                                    Vireo::GetNumChannels(format) >= 3;
                // The converted image belongs to this program; the deleter gives it back to the
                // factory however this block is left.
                std::unique_ptr<Vireo::IImage, void (*)(Vireo::IImage*)> converted(
                    Vireo::ImageFactory::Convert(image, colour ? Vireo::BGR8 : Vireo::Mono8),
                    Vireo::ImageFactory::Destroy);
                // The device buffer goes straight back: the copy made by Convert is what gets saved.
                camera->RequeueBuffer(image);

                // A header over the converted pixels, no copy. Rows are packed: width x channels bytes.
                const cv::Mat pixels(int(converted->GetHeight()), int(converted->GetWidth()),
                                     colour ? CV_8UC3 : CV_8UC1, const_cast<uint8_t*>(converted->GetData()));
                if (!cv::imwrite("last_frame.png", pixels)) {
                    std::cerr << "Could not write last_frame.png\n";
                    exitCode = 1;
                } else {
                    std::cout << "Saved last_frame.png\n";
                }
            } else {
                camera->RequeueBuffer(image);  // every buffer goes back, or the stream runs dry
            }
        }
        camera->StopStream();
    } catch (const GenICam::GenericException& error) {
        std::cerr << "Error: " << error.what() << '\n';
        exitCode = 1;
    } catch (const std::exception& error) {  // OpenCV and the standard library
        std::cerr << "Error: " << error.what() << '\n';
        exitCode = 1;
    }
    // Reached on success and after an error alike: DestroyDevice also stops a running stream.
    try {
        if (camera != nullptr) system->DestroyDevice(camera);
        if (system != nullptr) Vireo::CloseSystem(system);
    } catch (const GenICam::GenericException& error) {
        std::cerr << "Error while closing: " << error.what() << '\n';
        exitCode = 1;
    }
    return exitCode;
}
