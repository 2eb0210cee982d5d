// image_callbacks: let the SDK push frames to a callback instead of pulling them with GetImage,
// stream for one second and count what arrived.
#include <Vireo/Vireo.h>

#include <atomic>
#include <chrono>
#include <iostream>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

// OnImage runs on a thread of the device's own, one frame after another. The SDK requeues the
// frame when OnImage returns, so anything needed later must be copied out (ImageFactory::Copy).
// Keep the work short: while it runs, the next frames wait in the buffer pool.
class FrameCounter : public Vireo::IImageCallback {
public:
    void OnImage(Vireo::IImage* image) override {
        if (image == nullptr) return;  // a buffer without an image (chunk data alone) comes as null
        ++m_frames;
        m_lastFrameId = image->GetFrameId();
        if (image->IsIncomplete()) ++m_incomplete;
    }
    // Read from the main thread while frames still arrive: hence the atomics.
    int Frames() const { return m_frames; }
    int Incomplete() const { return m_incomplete; }
    uint64_t LastFrameId() const { return m_lastFrameId; }

private:
    std::atomic<int> m_frames{0};
    std::atomic<int> m_incomplete{0};
    std::atomic<uint64_t> m_lastFrameId{0};
};

} // namespace

int main() {
    Vireo::ISystem* system = nullptr;
    Vireo::IDevice* camera = nullptr;
    FrameCounter counter;  // outlives the device: it may be called until DestroyDevice returns
    int exitCode = 0;
    try {
        system = Vireo::OpenSystem();
        system->UpdateDevices(500);
        const std::vector<Vireo::DeviceInfo> cameras = system->GetDevices();
        if (cameras.empty()) throw std::runtime_error("no camera found");
        camera = system->CreateDevice(cameras.front());

        // A steady frame rate, so that the count below means something.
        GenApi::INodeMap* features = camera->GetNodeMap();
        Vireo::SetNodeValue<bool>(features, "AcquisitionFrameRateEnable", true);
        Vireo::SetNodeValue<double>(features, "AcquisitionFrameRate", 30.0);

        // Registered before the start, so that the first frame already goes to the callback.
        // While a callback is registered, GetImage refuses to run: one consumer per stream.
        camera->RegisterImageCallback(&counter);
        camera->StartStream(8);
        std::this_thread::sleep_for(std::chrono::seconds(1));
        camera->StopStream();  // returns after the last OnImage has returned
        camera->DeregisterImageCallback(&counter);

        std::cout << "Received " << counter.Frames() << " frames in one second at 30 frames/s (last frame id "
                  << counter.LastFrameId() << ", " << counter.Incomplete() << " incomplete)\n";
        if (counter.Frames() == 0) exitCode = 1;
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
