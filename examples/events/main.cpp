// events: subscribe to the camera's exposure-end events and print each one as it arrives, while
// the main thread streams the frames those events belong to.
#include <Vireo/Vireo.h>

#include <GenApi/GenApi.h>

#include <atomic>
#include <iostream>
#include <mutex>
#include <stdexcept>
#include <stop_token>
#include <thread>
#include <vector>

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

        // An event message updates the camera's event nodes (EventExposureEnd, its timestamp and
        // frame id). A callback on the event's id node runs once per message, inside the call
        // that delivered it, so it sees the values of that one event.
        std::mutex printing;  // the callback and the main thread both print whole lines
        std::atomic<int> received{0};
        GenApi::CIntegerPtr frameId = features->GetNode("EventExposureEndFrameID");
        GenApi::CIntegerPtr timestamp = features->GetNode("EventExposureEndTimestamp");
        GenApi::CallbackHandleType handle =
            GenApi::Register(features->GetNode("EventExposureEnd"), [&](GenApi::INode*) {
                ++received;
                std::lock_guard lock(printing);
                std::cout << "  event: exposure of frame " << frameId->GetValue() << " ended at "
                          << timestamp->GetValue() << " ns\n";
            });

        // Events reach the host only once the SDK listens and the camera is told to send them.
        camera->InitializeEvents();
        Vireo::SetNodeValue<GenICam::gcstring>(features, "EventSelector", "ExposureEnd");
        Vireo::SetNodeValue<GenICam::gcstring>(features, "EventNotification", "On");

        // Events come on a channel of their own; a thread that waits for them keeps them from
        // queueing behind image processing. A short time-out lets it notice a stop request, and
        // the jthread asks it to stop and joins it however this block is left.
        std::jthread listener([&](std::stop_token stop) {
            while (!stop.stop_requested()) {
                try {
                    camera->WaitOnEvent(100);  // milliseconds; hands one message to the nodes
                } catch (const GenICam::TimeoutException&) {
                    // nothing arrived: look at the stop request again
                } catch (const GenICam::GenericException& error) {
                    std::lock_guard lock(printing);
                    std::cerr << "Event error: " << error.what() << '\n';
                    return;
                }
            }
        });

        camera->StartStream(4);
        for (int frame = 0; frame < 10; ++frame) {
            Vireo::IImage* image = camera->GetImage(2000);
            {
                std::lock_guard lock(printing);
                std::cout << "frame " << image->GetFrameId() << " delivered\n";
            }
            camera->RequeueBuffer(image);
        }
        camera->StopStream();
        listener.request_stop();
        listener.join();  // before DeinitializeEvents: nobody may wait on a channel being closed

        Vireo::SetNodeValue<GenICam::gcstring>(features, "EventNotification", "Off");
        camera->DeinitializeEvents();
        GenApi::Deregister(handle);
        std::cout << received << " exposure-end events received\n";
        if (received == 0) exitCode = 1;
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
