// overlay: colour a time-of-flight depth image with the colour camera mounted beside it. Finds a
// Tarsum depth camera and the other member of its device group, reads their calibration, grabs
// one frame from each and projects every depth pixel into the colour frame.
#include <Vireo/Vireo.h>

#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

// Factory images and overlay infos go back to the factory when the pointer goes out of scope.
using FactoryImage = std::unique_ptr<Vireo::IImage, void (*)(Vireo::IImage*)>;
using OverlayInfoPtr = std::unique_ptr<Vireo::OverlayInfo, void (*)(Vireo::OverlayInfo*)>;

bool StartsWith(const GenICam::gcstring& text, const char* head) { return std::string(text.c_str()).rfind(head, 0) == 0; }

// One frame, copied so that the buffer can go straight back to the camera.
FactoryImage GrabOne(Vireo::IDevice* camera) {
    camera->StartStream(2);
    Vireo::IImage* frame = camera->GetImage(2000);
    FactoryImage copy(Vireo::ImageFactory::Copy(frame), Vireo::ImageFactory::Destroy);
    camera->RequeueBuffer(frame);
    camera->StopStream();
    return copy;
}

} // namespace

int main() {
    Vireo::ISystem* system = nullptr;
    Vireo::IDevice* depthCamera = nullptr;
    Vireo::IDevice* colourCamera = nullptr;
    int exitCode = 0;
    try {
        system = Vireo::OpenSystem();
        system->UpdateDevices(500);
        // The cameras are calibrated as a pair, and the pair is a GigE Vision device group: the
        // colour camera is the Tarsum's fellow member, whatever its model.
        const auto devices = system->GetDevices();
        const Vireo::DeviceInfo* depthInfo = nullptr;
        for (const Vireo::DeviceInfo& info : devices)
            if (StartsWith(info.ModelName(), "Tarsum") && info.DeviceGroupEnable()) depthInfo = &info;
        if (depthInfo == nullptr) throw std::runtime_error("no Tarsum camera in a device group");
        for (const Vireo::DeviceInfo& info : devices)
            if (colourCamera == nullptr && &info != depthInfo && info.DeviceGroupEnable() &&
                info.DeviceGroupSerial() == depthInfo->DeviceGroupSerial())
                colourCamera = system->CreateDevice(info);
        if (colourCamera == nullptr) throw std::runtime_error("the Tarsum camera has no colour partner");
        depthCamera = system->CreateDevice(*depthInfo);

        // The overlay copies three bytes per colour pixel and reads A, B and C of every depth pixel.
        Vireo::SetNodeValue<GenICam::gcstring>(colourCamera->GetNodeMap(), "PixelFormat", "RGB8");
        Vireo::SetNodeValue<GenICam::gcstring>(depthCamera->GetNodeMap(), "PixelFormat", "Coord3D_ABCY16");

        // The calibration is read once; it holds as long as binning and mounting stay the same.
        OverlayInfoPtr info(Vireo::ImageFactory::CreateOverlayInfo(colourCamera, depthCamera),
                            Vireo::ImageFactory::DestroyOverlayInfo);
        const auto translation = info->GetTranslationValues();
        std::cout << "Colour camera: focal length " << info->GetFocalLengthX() << " px, centre ("
                  << info->GetOpticalCenterX() << ", " << info->GetOpticalCenterY() << "), "
                  << info->GetDistortionModel() << " lens; depth camera offset (" << translation[0] << ", "
                  << translation[1] << ", " << translation[2] << ") mm\n";

        // A real application would trigger both cameras together (see action_command); one free
        // running frame each is enough for a scene that does not move.
        FactoryImage depth = GrabOne(depthCamera);
        FactoryImage colour = GrabOne(colourCamera);
        FactoryImage overlay(Vireo::ImageFactory::Overlay(depth.get(), colour.get(), info.get()),
                             Vireo::ImageFactory::Destroy);

        // Depth pixels that see nothing the colour camera sees stay black.
        size_t coloured = 0;
        const size_t pixels = overlay->GetWidth() * overlay->GetHeight();
        for (size_t index = 0; index < pixels; ++index) {
            const uint8_t* pixel = overlay->GetData() + index * 3;
            coloured += (pixel[0] | pixel[1] | pixel[2]) != 0;
        }
        std::cout << "Depth " << depth->GetWidth() << " x " << depth->GetHeight() << ' '
                  << Vireo::GetPixelFormatName(depth->GetPixelFormat()) << " over colour " << colour->GetWidth()
                  << " x " << colour->GetHeight() << ' ' << Vireo::GetPixelFormatName(colour->GetPixelFormat())
                  << '\n'
                  << "Overlay " << overlay->GetWidth() << " x " << overlay->GetHeight() << ' '
                  << Vireo::GetPixelFormatName(overlay->GetPixelFormat()) << ": " << coloured << " of " << pixels
                  << " depth pixels coloured\n";
    } catch (const GenICam::GenericException& error) {
        std::cerr << "Error: " << error.what() << '\n';
        exitCode = 1;
    } catch (const std::exception& error) {
        std::cerr << "Error: " << error.what() << '\n';
        exitCode = 1;
    }
    // DestroyDevice also stops a stream that an error left running.
    try {
        if (depthCamera != nullptr) system->DestroyDevice(depthCamera);
        if (colourCamera != nullptr) system->DestroyDevice(colourCamera);
        if (system != nullptr) Vireo::CloseSystem(system);
    } catch (const GenICam::GenericException& error) {
        std::cerr << "Error while closing: " << error.what() << '\n';
        exitCode = 1;
    }
    return exitCode;
}
