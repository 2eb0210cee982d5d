// The one typed buffer-information query behind every lazily read buffer property.
#include <Vireo/Buffer.h>

#include <cstring>

#include "../transport/Errors.h"

namespace Vireo {

template <class T>
T GetInfo(TLDataStream* stream, void* hBuffer, int command) {
    if (stream == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "DataStream is null", "Buffer", "GetInfo");
    if (hBuffer == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "Buffer is null", "Buffer", "GetInfo");

    // Every query offers 8 bytes, whatever the type asked for; the producer writes what the
    // information's own type needs, so the answer lands in storage of that size first.
    alignas(8) unsigned char storage[8] = {};
    size_t size = sizeof storage;
    int32_t type = 0;
    const GenTL::GC_ERROR result = stream->GetBufferInfo(hBuffer, command, &type, storage, &size);
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to get buffer information", "Buffer", "GetInfo", "DSGetBufferInfo");

    if constexpr (std::is_same_v<T, bool>) {
        return storage[0] != 0;
    } else {
        T value;
        std::memcpy(&value, storage, sizeof value);
        return value;
    }
}

template VIREO_API void* GetInfo<void*>(TLDataStream*, void*, int);
template VIREO_API uint64_t GetInfo<uint64_t>(TLDataStream*, void*, int);
template VIREO_API bool GetInfo<bool>(TLDataStream*, void*, int);
template VIREO_API int32_t GetInfo<int32_t>(TLDataStream*, void*, int);

} // namespace Vireo
