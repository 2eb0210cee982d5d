// The base part of the GenICam engine: types, strings and exceptions.
#ifndef GENICAM_BASE_GCBASE_H
#define GENICAM_BASE_GCBASE_H

#include <Base/GCTypes.h>
#include <Base/GCString.h>
#include <Base/GCStringVector.h>
#include <Base/GCException.h>

#endif
