// The image factory: images that do not come from a device, copies of images, and every image
// transformation. Each image it hands out belongs to the caller, who gives it back to
// ImageFactory::Destroy. The factory is open while a system is open.
#ifndef VIREO_IMAGEFACTORY_H
#define VIREO_IMAGEFACTORY_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include <Vireo/Config.h>
#include <Vireo/ICompressedImage.h>
#include <Vireo/IImage.h>
#include <Vireo/OverlayInfo.h>

namespace Vireo {

class IDevice;

// How Bayer sources are demosaiced: bilinear colour-filter-array interpolation, or adaptive
// homogeneity-directed demosaicing (sharper edges, fewer colour fringes, slower).
enum _EBayerAlgorithm { BayerAlgorithmBilinear = 0, BayerAlgorithmAHD = 1 };

// Opened by OpenSystem and closed by CloseSystem; HasImageFactoryInit tells whether it is open.
VIREO_API void OpenImageFactory();
VIREO_API void CloseImageFactory();
VIREO_API bool HasImageFactoryInit();

namespace ImageFactory {

// The length every factory operation expects of an image: width x height x bits per pixel / 8,
// the remainder of bits dropped.
VIREO_API uint64_t ExpectedLength(size_t width, size_t height, uint64_t pixelFormat);

// A new image holding a copy of dataSize bytes at pData; dataSize must be ExpectedLength.
VIREO_API IImage* Create(const uint8_t* pData, size_t dataSize, size_t width, size_t height, uint64_t pixelFormat);
// A new image of zeroed pixels.
VIREO_API IImage* CreateEmpty(size_t dataSize, size_t width, size_t height, uint64_t pixelFormat);
// An image over the caller's memory, which must outlive it; Destroy never frees that memory.
VIREO_API IImage* Shallow(const uint8_t* pData, size_t dataSize, size_t width, size_t height, uint64_t pixelFormat);
// A deep copy of any image, device images included (with their chunk data, when they carry it).
VIREO_API IImage* Copy(IImage* pImage);
// A deep copy of a compressed image.
VIREO_API ICompressedImage* CopyCompressedImage(ICompressedImage* pImage);
// Gives a factory image back. Device images are refused: they go back through RequeueBuffer.
VIREO_API void Destroy(IImage* pImage);

// An 8-bit image (pixelFormat: 8 bits per channel) with the source's geometry and channels,
// each byte a run of 8 bits of the source sample chosen by `bits`: for Mono16 the sample
// >> (8 - bits), for Mono12p >> (4 - bits), for Mono8 >> bits; 8-bit multi-channel images
// come out unchanged for bits = 0 and black otherwise.
VIREO_API IImage* SelectBits(IImage* pImage, uint64_t pixelFormat, int bits);
// The bytes SelectBits makes, to size the destination of SelectBitsShallow.
VIREO_API size_t SelectBitsLen(IImage* pImage, uint64_t pixelFormat, int bits);
// SelectBits into the caller's memory (dstLen must be SelectBitsLen), as a shallow image.
VIREO_API IImage* SelectBitsShallow(uint8_t* pDst, size_t dstLen, IImage* pImage, uint64_t pixelFormat, int bits);

// An 8-bit image of the source's samples times 2^(scale - (bits per sample - 8)), saturating at
// 255: scale 0 gives the top 8 bits, each step of 1 doubles the gain; fractions are allowed.
VIREO_API IImage* SelectBitsAndScale(IImage* pImage, uint64_t pixelFormat, double scale);

// A new image of the same format with every sample mapped through the table: one byte per
// entry for 8-bit samples, two (little-endian) for 10- to 16-bit, three for 24-bit; colour
// images take one table for all channels or one per channel, end to end. Packed layouts are
// unpacked, mapped and packed again.
VIREO_API IImage* ProcessSoftwareLUT(IImage* pImage, uint8_t* pLUT, size_t lutLength);

// The channel images of an interleaved multi-image format (dual and quad sensors, polarisation
// angles, Stokes parameters, degree and angle of polarisation) stacked one below the other in
// channel order, each in the plain format of one channel (Mono8, Mono12p, BayerRG8, ...).
VIREO_API IImage* DeinterleaveChannels(IImage* pImage);
// The bytes DeinterleaveChannels makes, to size the destination of the shallow form.
VIREO_API size_t DeinterleaveChannelsLen(IImage* pImage);
VIREO_API IImage* DeinterleaveChannelsShallow(uint8_t* pDst, size_t dstLen, IImage* pImage);
// The channel images as separate images, in channel order; each goes back through Destroy.
VIREO_API std::vector<IImage*> SplitChannels(IImage* pImage);

// A new image of the source's geometry in pixelFormat. Conversions without a direct routine go
// through BGRa8; mono formats beyond 8 bits convert among themselves at full depth.
VIREO_API IImage* Convert(IImage* pImage, uint64_t pixelFormat, _EBayerAlgorithm bayerAlgo = BayerAlgorithmBilinear);
// The bytes a conversion to pixelFormat makes: width x height x bits per pixel / 8.
VIREO_API size_t ConvertLen(IImage* pImage, uint64_t pixelFormat);
// Convert into the caller's memory (dstLen must be ConvertLen), as a shallow image.
VIREO_API IImage* ConvertShallow(uint8_t* pDst, size_t dstLen, IImage* pImage, uint64_t pixelFormat,
                                 _EBayerAlgorithm bayerAlgo = BayerAlgorithmBilinear);

// A compressed image holding a copy of a QOI stream of dataSize bytes in one of the QOI_
// formats (PixelFormat.h).
VIREO_API ICompressedImage* CreateCompressedImage(const uint8_t* pData, size_t dataSize, uint64_t pixelFormat);
// The plain image a compressed one holds (from the factory or a device): QOI_Mono8 gives Mono8,
// QOI_BayerRG8 BayerRG8 (no demosaicing), QOI_RGB8 RGB8 and so on. Frame id and timestamps
// are carried over.
VIREO_API IImage* DecompressImage(ICompressedImage* pCompressedImage);
// The other direction: a Mono8, Bayer 8-bit, RGB8, BGR8, YCbCr8 or YCbCr8_CbYCr image as a
// compressed image in the matching QOI format (mono and Bayer with the single-channel stream).
VIREO_API ICompressedImage* CompressImage(IImage* pImage);
// Gives a factory compressed image back; compressed images from a device are refused.
VIREO_API void DestroyCompressedImage(ICompressedImage* pCompressedImage);

// Depth-to-colour overlay of a Tarsum time-of-flight camera and the colour camera calibrated
// with it (OverlayInfo.h says which features are read). CreateOverlayInfo reads both cameras'
// calibration into a new info, which goes back through DestroyOverlayInfo; node access
// failures pass through as NodeAccess.h states them.
VIREO_API OverlayInfo* CreateOverlayInfo(IDevice* pChromaDevice, IDevice* pDepthDevice);
VIREO_API void DestroyOverlayInfo(OverlayInfo* pInfo);
// A new image of the depth image's geometry in the colour image's pixel format: each depth
// pixel's 3D point, projected into the colour image through the info's pinhole model and lens
// distortion, takes the three bytes of the colour pixel it lands on; points that land outside
// the colour image (or have no finite projection) stay 0. Points with zero depth or behind
// the colour camera get no special treatment.
// The depth image is interleaved A, B, C (plus a confidence channel Y, ignored) in native byte
// order: Coord3D_ABC16, Coord3D_ABC16s, Coord3D_ABCY16, Coord3D_ABCY16s or Coord3D_ABC32f.
// The colour image is any 3-bytes-per-pixel format (RGB8, BGR8, YCbCr8, ...) of the size the
// colour camera's binning gives; its bytes are copied as they are.
VIREO_API IImage* Overlay(IImage* pDepthImage, IImage* pRgbImage, OverlayInfo* pInfo);

} // namespace ImageFactory
} // namespace Vireo

#endif
