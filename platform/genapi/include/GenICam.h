// Umbrella header of the GenICam engine's base part.
#ifndef GENICAM_GENICAM_H
#define GENICAM_GENICAM_H

#include <Base/GCBase.h>

#define GENICAM_VERSION_MAJOR 3
#define GENICAM_VERSION_MINOR 3

#endif
