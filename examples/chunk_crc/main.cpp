// chunk_crc: have the camera append chunk data to every frame (a CRC of the image, the frame
// counter and the timestamp), read the chunks back and check each frame against its CRC.
#include <Vireo/Vireo.h>

#include <GenApi/GenApi.h>

#include <iostream>
#include <stdexcept>
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
        std::cout << "Camera " << cameras.front().SerialNumber() << '\n';

        // Chunk mode first, then each chunk by selector. The CRC is computed by the camera
        // over the image bytes, so it proves the frame arrived exactly as it was sent.
        GenApi::INodeMap* features = camera->GetNodeMap();
        Vireo::SetNodeValue<bool>(features, "ChunkModeActive", true);
        for (const char* chunk : {"CRC", "FrameCounter", "Timestamp"}) {
            Vireo::SetNodeValue<GenICam::gcstring>(features, "ChunkSelector", chunk);
            Vireo::SetNodeValue<bool>(features, "ChunkEnable", true);
        }

        int damaged = 0;
        camera->StartStream(4);
        for (int frame = 0; frame < 5; ++frame) {
            Vireo::IImage* image = camera->GetImage(2000);
            // A frame with chunks is also an IChunkData; a frame without them answers null.
            Vireo::IChunkData* chunks = image->AsChunkData();
            if (chunks == nullptr) {
                camera->RequeueBuffer(image);
                throw std::runtime_error("the camera sent a frame without chunk data");
            }
            // An incomplete frame lost packets on the way, the chunks at its end perhaps too: its
            // CRC cannot match, VerifyCRC refuses it, and it is counted apart.
            if (image->IsIncomplete()) {
                ++damaged;
                std::cout << "Frame " << image->GetFrameId() << " incomplete\n";
                camera->RequeueBuffer(image);
                continue;
            }
            // GetChunk binds the frame's own chunk bytes to the node: the values belong to this
            // frame, not to whatever frame the camera is working on now.
            GenApi::CIntegerPtr crc = chunks->GetChunk("ChunkCRC");
            GenApi::CIntegerPtr counter = chunks->GetChunk("ChunkFrameCounter");
            GenApi::CIntegerPtr timestamp = chunks->GetChunk("ChunkTimestamp");
            const bool intact = image->VerifyCRC();
            if (!intact) ++damaged;
            std::cout << "Frame " << counter->GetValue() << " at " << timestamp->GetValue() << " ns: CRC 0x"
                      << std::hex << crc->GetValue() << std::dec << (intact ? " verified" : " MISMATCH") << '\n';
            camera->RequeueBuffer(image);
        }
        camera->StopStream();
        if (damaged > 0) {
            std::cerr << damaged << " frame(s) were incomplete or failed the CRC check\n";
            exitCode = 1;
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
