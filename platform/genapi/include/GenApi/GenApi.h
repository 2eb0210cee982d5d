// Umbrella header of the GenApi engine.
#ifndef GENAPI_GENAPI_H
#define GENAPI_GENAPI_H

#include <GenICam.h>
#include <GenApi/ChunkAdapterGEV.h>
#include <GenApi/EnumClasses.h>
#include <GenApi/EventAdapterGEV.h>
#include <GenApi/FeatureBag.h>
#include <GenApi/IDestroy.h>
#include <GenApi/NodeCallback.h>
#include <GenApi/NodeMapFactory.h>
#include <GenApi/Pointer.h>
#include <GenApi/Types.h>

#endif
