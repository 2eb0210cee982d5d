// What kind of camera a virtual camera is: sensor, formats, speed and scan type.
#ifndef VIRTUALGENTL_CAMERAMODEL_H
#define VIRTUALGENTL_CAMERAMODEL_H

#include <cstdint>
#include <string>
#include <vector>

namespace VirtualGenTL {

struct PixelFormatChoice {
    std::string name;
    uint32_t code;
};

struct CameraModel {
    std::string modelName;
    std::string vendorName = "Vireo";
    std::string firmwareVersion = "1.4.2";
    uint32_t sensorWidth = 0;
    uint32_t sensorHeight = 0;
    std::vector<PixelFormatChoice> pixelFormats;  // the first is the default
    double maxFrameRate = 30.0;
    bool linescan = false;
    uint32_t dataStreams = 1;
    int64_t linkSpeed = 125000000;  // bytes per second: 1 GigE
};

// The models the producer offers.
CameraModel ColourCameraModel();   // Bayer, RGB/BGR, YCbCr, mono and packed formats
CameraModel MonoCameraModel();

} // namespace VirtualGenTL

#endif
