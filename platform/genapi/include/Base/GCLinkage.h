// Symbol visibility of the GenICam engine: everything else in the shared library is hidden.
#ifndef GENICAM_BASE_GCLINKAGE_H
#define GENICAM_BASE_GCLINKAGE_H

#if defined(__GNUC__)
#define GCBASE_API __attribute__((visibility("default")))
#define GENAPI_DECL __attribute__((visibility("default")))
#define GCBASE_PRINTF_FORMAT(formatIndex, firstArgument) \
    __attribute__((format(printf, formatIndex, firstArgument)))
#else
#define GCBASE_API
#define GENAPI_DECL
#define GCBASE_PRINTF_FORMAT(formatIndex, firstArgument)
#endif

#endif
