#include "CameraModel.h"

namespace VirtualGenTL {

CameraModel ColourCameraModel() {
    CameraModel model;
    model.modelName = "VC-2448C";
    model.sensorWidth = 2448;
    model.sensorHeight = 2048;
    model.maxFrameRate = 75.0;
    model.colourCalibration = true;
    model.colourSensor = true;
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

CameraModel DepthCameraModel() {
    CameraModel model;
    model.modelName = "Tarsum VT-640D";
    model.sensorWidth = 640;
    model.sensorHeight = 480;
    model.maxFrameRate = 30.0;
    model.timeOfFlight = true;
    model.pixelFormats = {{"Coord3D_ABCY16", 0x82400403}, {"Coord3D_C16", 0x011000B8}, {"Mono16", 0x01100007}};
    return model;
}

CameraModel LinescanCameraModel() {
    CameraModel model;
    model.modelName = "VL-4096L";
    model.sensorWidth = 4096;
    model.sensorHeight = 1024;  // lines per frame at most
    model.maxFrameRate = 1000.0;
    model.linescan = true;
    model.reportsMaxThroughput = false;
    model.pixelFormats = {{"Mono8", 0x01080001}, {"Mono12p", 0x010C0047}};
    return model;
}

CameraModel MultiStreamCameraModel() {
    CameraModel model;
    model.modelName = "VX-2048S";
    model.sensorWidth = 2048;
    model.sensorHeight = 1536;
    model.maxFrameRate = 120.0;
    model.dataStreams = 5;
    model.streamRoles = true;
    model.gvrspStreamable = true;
    model.linkSpeed = 1250000000;  // 10 GigE
    model.pixelFormats = {{"Mono8", 0x01080001}, {"BayerRG8", 0x01080009}, {"RGB8", 0x02180014}};
    return model;
}

} // namespace VirtualGenTL
