// Build-wide definitions of the Vireo SDK's public headers.
#ifndef VIREO_CONFIG_H
#define VIREO_CONFIG_H

#if defined(__GNUC__)
#define VIREO_API __attribute__((visibility("default")))
#else
#define VIREO_API
#endif

#endif
