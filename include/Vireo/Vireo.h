// The whole public interface of the Vireo SDK.
#ifndef VIREO_VIREO_H
#define VIREO_VIREO_H

#include <GenICam.h>

#include <Vireo/Config.h>
#include <Vireo/Library.h>
#include <Vireo/ALogger.h>
#include <Vireo/PixelFormat.h>

#include <Vireo/TLBase.h>
#include <Vireo/TLDataStream.h>
#include <Vireo/TLDevice.h>
#include <Vireo/TLEvent.h>
#include <Vireo/TLInterface.h>
#include <Vireo/TLSystem.h>
#include <Vireo/Port.h>
#include <Vireo/DeviceInfo.h>
#include <Vireo/Interface.h>
#include <Vireo/System.h>
#include <Vireo/IDevice.h>
#include <Vireo/Device.h>
#include <Vireo/DeviceCbManager.h>
#include <Vireo/NodeAccess.h>

#include <Vireo/IBuffer.h>
#include <Vireo/IChunkData.h>
#include <Vireo/ICompressedImage.h>
#include <Vireo/IImage.h>
#include <Vireo/Buffer.h>
#include <Vireo/ChunkData.h>
#include <Vireo/CompressedImage.h>
#include <Vireo/CompressedImageExtendedChunk.h>
#include <Vireo/Image.h>
#include <Vireo/ImageExtendedChunk.h>
#include <Vireo/MultipartImage.h>
#include <Vireo/ImageFactory.h>
#include <Vireo/OverlayInfo.h>
#include <Vireo/Crc.h>
#include <Vireo/QoiCodec.h>
#include <Vireo/Packing.h>

#endif
