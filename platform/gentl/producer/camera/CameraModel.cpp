#include "CameraModel.h"

namespace VirtualGenTL {

CameraModel ColourCameraModel() {
    CameraModel model;
    model.modelName = "VC-2448C";
    model.sensorWidth = 2448;
    model.sensorHeight = 2048;
    model.maxFrameRate = 75.0;
    model.pixelFormats = {
        {"BayerRG8", 0x01080009},  {"BayerRG10", 0x0110000D}, {"BayerRG12", 0x01100011},
        {"BayerRG10p", 0x010A0058}, {"BayerRG12p", 0x010C0059}, {"BayerRG12Packed", 0x010C002B},
        {"RGB8", 0x02180014},      {"BGR8", 0x02180015},      {"BGRa8", 0x02200017},
        {"YCbCr422_8", 0x0210003B}, {"YUV422_8_UYVY", 0x0210001F}, {"Mono8", 0x01080001},
        {"Mono12", 0x01100005},    {"Mono12p", 0x010C0047},
    };
    return model;
}

CameraModel MonoCameraModel() {
    CameraModel model;
    model.modelName = "VM-1280M";
    model.sensorWidth = 1280;
    model.sensorHeight = 1024;
    model.maxFrameRate = 200.0;
    model.pixelFormats = {
        {"Mono8", 0x01080001},  {"Mono10", 0x01100003},       {"Mono12", 0x01100005},
        {"Mono16", 0x01100007}, {"Mono10p", 0x010A0046},      {"Mono12p", 0x010C0047},
        {"Mono10Packed", 0x010C0004}, {"Mono12Packed", 0x010C0006},
    };
    return model;
}

} // namespace VirtualGenTL
