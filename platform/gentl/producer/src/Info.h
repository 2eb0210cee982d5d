// The GenTL conventions of every info query: on entry *size is the caller's buffer size; a
// null buffer asks for the size only; a buffer too small answers GC_ERR_BUFFER_TOO_SMALL with
// *size set to what is needed; strings are zero-terminated and their size counts the
// terminator; the data type is reported when asked.
#ifndef VIRTUALGENTL_INFO_H
#define VIRTUALGENTL_INFO_H

#include <cstring>
#include <string>
#include <type_traits>

#include "Errors.h"

namespace VirtualGenTL {

class InfoAnswer {
public:
    InfoAnswer(GenTL::INFO_DATATYPE* type, void* buffer, size_t* size) : m_type(type), m_buffer(buffer), m_size(size) {
        if (size == nullptr) Fail(GenTL::GC_ERR_INVALID_PARAMETER, "the size pointer is null");
    }

    void String(const std::string& text) { Bytes(GenTL::INFO_DATATYPE_STRING, text.c_str(), text.size() + 1); }
    void UInt32(uint32_t value) { Bytes(GenTL::INFO_DATATYPE_UINT32, &value, sizeof value); }
    void Int32(int32_t value) { Bytes(GenTL::INFO_DATATYPE_INT32, &value, sizeof value); }
    void UInt64(uint64_t value) { Bytes(GenTL::INFO_DATATYPE_UINT64, &value, sizeof value); }
    void Int64(int64_t value) { Bytes(GenTL::INFO_DATATYPE_INT64, &value, sizeof value); }
    void SizeT(size_t value) { Bytes(GenTL::INFO_DATATYPE_SIZET, &value, sizeof value); }
    void Float64(double value) { Bytes(GenTL::INFO_DATATYPE_FLOAT64, &value, sizeof value); }
    void Bool8(bool value) {
        const GenTL::bool8_t byte = value ? 1 : 0;
        Bytes(GenTL::INFO_DATATYPE_BOOL8, &byte, sizeof byte);
    }
    void Pointer(const void* value) { Bytes(GenTL::INFO_DATATYPE_PTR, &value, sizeof value); }
    void Buffer(const std::string& bytes) { Bytes(GenTL::INFO_DATATYPE_BUFFER, bytes.data(), bytes.size()); }

private:
    void Bytes(GenTL::INFO_DATATYPE type, const void* value, size_t needed) {
        if (m_type != nullptr) *m_type = type;
        if (m_buffer == nullptr) {
            *m_size = needed;
            return;
        }
        if (*m_size < needed) {
            const size_t offered = *m_size;
            *m_size = needed;
            Fail(GenTL::GC_ERR_BUFFER_TOO_SMALL,
                 "the buffer holds " + std::to_string(offered) + " bytes, " + std::to_string(needed) + " are needed");
        }
        std::memcpy(m_buffer, value, needed);
        *m_size = needed;
    }

    GenTL::INFO_DATATYPE* m_type;
    void* m_buffer;
    size_t* m_size;
};

// Copies a string out under the same conventions (IDs, URLs).
inline void AnswerString(const std::string& text, char* buffer, size_t* size) {
    InfoAnswer(nullptr, buffer, size).String(text);
}

template <class T>
T* Required(T* pointer, const char* what) {
    if (pointer == nullptr) Fail(GenTL::GC_ERR_INVALID_PARAMETER, std::string(what) + " is null");
    return pointer;
}

} // namespace VirtualGenTL

#endif
