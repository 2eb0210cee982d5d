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
    bool reportsMaxThroughput = true;  // many cameras have no DeviceMaxThroughput
    bool timeOfFlight = false;      // depth output, 3D scan and device-group transform features
    bool colourCalibration = false; // intrinsics and lens distortion for a depth-to-colour overlay
    bool colourSensor = false;      // an RG colour filter: its Bayer and RGB formats show colour bars
    bool streamRoles = false;       // image, TCP, RDMA, event-based and multipart streams
    bool gvrspStreamable = false;
};

// The models the producer offers.
CameraModel ColourCameraModel();   // Bayer, RGB/BGR, YCbCr, mono and packed formats
CameraModel MonoCameraModel();
CameraModel DepthCameraModel();     // time of flight, Coord3D output
CameraModel LinescanCameraModel();  // line scan, multipart buffers
CameraModel MultiStreamCameraModel();  // five data streams with fixed roles

} // namespace VirtualGenTL

#endif
