// Build-wide definitions of the Vireo SDK's public headers.
#ifndef VIREO_CONFIG_H
#define VIREO_CONFIG_H

// Code of the SDK compiled into another library (the virtual producer reuses the QOI codec)
// defines VIREO_API empty, so that those copies stay private to it.
#ifndef VIREO_API
#if defined(__GNUC__)
#define VIREO_API __attribute__((visibility("default")))
#else
#define VIREO_API
#endif
#endif

#endif
