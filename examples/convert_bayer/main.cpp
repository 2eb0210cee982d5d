// convert_bayer: grab one raw Bayer frame and demosaic it twice, with the bilinear and the AHD
// algorithm, saving both results as PNG files and printing how long each conversion took.
#include <Vireo/Vireo.h>

#include <GenApi/GenApi.h>
#include <opencv2/imgcodecs.hpp>

#include <chrono>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// Factory images go back to the factory when the pointer goes out of scope.
using FactoryImage = std::unique_ptr<Vireo::IImage, void (*)(Vireo::IImage*)>;

// Whether the camera can send this pixel format (the entry exists and is available now).
bool Offers(Vireo::IDevice* camera, const char* format) {
    GenApi::CEnumerationPtr pixelFormat = camera->GetNodeMap()->GetNode("PixelFormat");
    return pixelFormat.IsValid() && GenApi::IsAvailable(pixelFormat->GetEntryByName(format));
}

// Converts to BGR8 (the channel order OpenCV writes), saves the result, returns milliseconds spent converting.
double DemosaicAndSave(Vireo::IImage* raw, Vireo::_EBayerAlgorithm algorithm, const std::string& file) {
    const auto start = std::chrono::steady_clock::now();
    FactoryImage bgr(Vireo::ImageFactory::Convert(raw, Vireo::BGR8, algorithm), Vireo::ImageFactory::Destroy);
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    const cv::Mat pixels(int(bgr->GetHeight()), int(bgr->GetWidth()), CV_8UC3, const_cast<uint8_t*>(bgr->GetData()));
    if (!cv::imwrite(file, pixels)) throw std::runtime_error("could not write " + file);
    return took.count();
}

} // namespace

int main() {
    Vireo::ISystem* system = nullptr;
    Vireo::IDevice* camera = nullptr;
    int exitCode = 0;
    try {
        system = Vireo::OpenSystem();
        system->UpdateDevices(500);
        // The first colour camera: opened to ask, closed again if it has no Bayer output.
        for (const Vireo::DeviceInfo& info : system->GetDevices()) {
            camera = system->CreateDevice(info);
            if (Offers(camera, "BayerRG8")) break;
            system->DestroyDevice(camera);
            camera = nullptr;
        }
        if (camera == nullptr) throw std::runtime_error("no camera sends BayerRG8");
        Vireo::SetNodeValue<GenICam::gcstring>(camera->GetNodeMap(), "PixelFormat", "BayerRG8");

        // One frame is enough: keep a copy of its raw mosaic and give the buffer straight back.
        camera->StartStream(2);
        Vireo::IImage* frame = camera->GetImage(2000);
        FactoryImage raw(Vireo::ImageFactory::Copy(frame), Vireo::ImageFactory::Destroy);
        camera->RequeueBuffer(frame);
        camera->StopStream();
        std::cout << "Frame " << raw->GetFrameId() << ": " << raw->GetWidth() << " x " << raw->GetHeight() << ' '
                  << Vireo::GetPixelFormatName(raw->GetPixelFormat()) << '\n';

        // Bilinear averages neighbours: fast, with colour fringes along sharp edges. AHD picks the
        // smoother direction at every pixel: slower, cleaner edges. Compare the two files.
        const double bilinear = DemosaicAndSave(raw.get(), Vireo::BayerAlgorithmBilinear, "bilinear.png");
        const double ahd = DemosaicAndSave(raw.get(), Vireo::BayerAlgorithmAHD, "ahd.png");
        std::cout << "Bilinear: " << bilinear << " ms -> bilinear.png\n"
                  << "AHD:      " << ahd << " ms -> ahd.png\n";
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
