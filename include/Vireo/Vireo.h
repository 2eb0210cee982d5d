// The whole public interface of the Vireo SDK.
#ifndef VIREO_VIREO_H
#define VIREO_VIREO_H

#include <GenICam.h>

#include <Vireo/Config.h>
#include <Vireo/Library.h>
#include <Vireo/PixelFormat.h>

#endif
