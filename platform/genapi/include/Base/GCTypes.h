// Fixed-width integer and float types used throughout the GenICam interfaces.
#ifndef GENICAM_BASE_GCTYPES_H
#define GENICAM_BASE_GCTYPES_H

#include <cstddef>
#include <cstdint>

#include <Base/GCLinkage.h>

typedef float float32_t;
typedef double float64_t;

#endif
