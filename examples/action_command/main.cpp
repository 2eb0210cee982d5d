// action_command: arm every camera on one network to take a frame on the same action command,
// send the command once, and compare when each camera took its frame.
#include <Vireo/Vireo.h>

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <map>
#include <string>
#include <stdexcept>
#include <vector>

int main() {
    // The keys a camera must hold to obey a command, and the group bits it answers to. Any
    // values will do as long as the cameras and the command agree.
    const uint32_t deviceKey = 0x12345678, groupKey = 0x1, groupMask = 0x1;

    Vireo::ISystem* system = nullptr;
    std::vector<Vireo::IDevice*> cameras;
    int exitCode = 0;
    try {
        system = Vireo::OpenSystem();
        system->UpdateDevices(500);

        // An action command is a broadcast: it reaches the cameras on the network of the
        // interface it leaves from. Take the first interface with two cameras or more.
        std::map<std::string, std::vector<Vireo::DeviceInfo>> byInterface;
        for (const Vireo::DeviceInfo& info : system->GetDevices())
            byInterface[info.InterfaceId().c_str()].push_back(info);
        const auto group = std::find_if(byInterface.begin(), byInterface.end(),
                                        [](const auto& entry) { return entry.second.size() >= 2; });
        if (group == byInterface.end()) throw std::runtime_error("no two cameras share an interface");

        for (const Vireo::DeviceInfo& info : group->second) {
            cameras.push_back(system->CreateDevice(info));
            GenApi::INodeMap* features = cameras.back()->GetNodeMap();
            // A frame starts only on a trigger, and the trigger is the action command.
            Vireo::SetNodeValue<GenICam::gcstring>(features, "TriggerSelector", "FrameStart");
            Vireo::SetNodeValue<GenICam::gcstring>(features, "TriggerMode", "On");
            Vireo::SetNodeValue<GenICam::gcstring>(features, "TriggerSource", "Action1");
            Vireo::SetNodeValue<int64_t>(features, "ActionDeviceKey", deviceKey);
            Vireo::SetNodeValue<int64_t>(features, "ActionGroupKey", groupKey);
            Vireo::SetNodeValue<int64_t>(features, "ActionGroupMask", groupMask);
            // Streaming first: a camera that is not acquiring ignores the trigger.
            cameras.back()->StartStream(2);
            std::cout << "Armed " << info.ModelName() << " (" << info.SerialNumber() << ") at "
                      << info.IpAddressStr() << '\n';
        }

        // Sent through any one of the cameras' interface; all of them act on it. A non-zero
        // action time (in the cameras' clock) would schedule the frames instead.
        cameras.front()->SendActionCommand(deviceKey, groupKey, groupMask);

        // No camera sends a frame unless it obeyed the command, so a time-out here means one did not.
        std::vector<uint64_t> timestamps;
        for (size_t index = 0; index < cameras.size(); ++index) {
            Vireo::IImage* image = cameras[index]->GetImage(2000);
            timestamps.push_back(image->GetTimestampNs());
            std::cout << group->second[index].SerialNumber() << ": frame " << image->GetFrameId() << " at "
                      << image->GetTimestampNs() << " ns\n";
            cameras[index]->RequeueBuffer(image);
        }
        // Comparing timestamps assumes the cameras share a clock (PTP on real cameras; the
        // virtual ones all read the host's).
        const auto [first, last] = std::minmax_element(timestamps.begin(), timestamps.end());
        std::cout << cameras.size() << " cameras took their frames within " << (*last - *first) / 1000.0
                  << " us of each other\n";

        for (Vireo::IDevice* camera : cameras) camera->StopStream();
    } catch (const GenICam::GenericException& error) {
        std::cerr << "Error: " << error.what() << '\n';
        exitCode = 1;
    } catch (const std::exception& error) {
        std::cerr << "Error: " << error.what() << '\n';
        exitCode = 1;
    }
    // DestroyDevice also stops a stream that an error left running.
    try {
        for (Vireo::IDevice* camera : cameras) system->DestroyDevice(camera);
        if (system != nullptr) Vireo::CloseSystem(system);
    } catch (const GenICam::GenericException& error) {
        std::cerr << "Error while closing: " << error.what() << '\n';
        exitCode = 1;
    }
    return exitCode;
}
