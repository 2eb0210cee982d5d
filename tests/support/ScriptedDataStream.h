// A data stream whose buffer-information answers are scripted per command and whose queries
// are counted: the lazy, cached properties of buffer objects are tested through it without a
// producer.
#ifndef VIREO_TESTS_SUPPORT_SCRIPTEDDATASTREAM_H
#define VIREO_TESTS_SUPPORT_SCRIPTEDDATASTREAM_H

#include <cstring>
#include <map>

#include <Vireo/TLDataStream.h>

namespace Vireo::Testing {

class ScriptedDataStream : public TLDataStream {
public:
    struct Answer {
        GenTL::GC_ERROR result = GenTL::GC_ERR_SUCCESS;
        int32_t type = GenTL::INFO_DATATYPE_UNKNOWN;
        unsigned char bytes[8] = {};
        size_t size = 0;
    };

    ScriptedDataStream() : TLDataStream(reinterpret_cast<void*>(0xD5)) {}

    void SetUInt64(int32_t command, uint64_t value) { Set(command, GenTL::INFO_DATATYPE_UINT64, &value, sizeof value); }
    void SetInt32(int32_t command, int32_t value) { Set(command, GenTL::INFO_DATATYPE_INT32, &value, sizeof value); }
    void SetBool(int32_t command, bool value) {
        const uint8_t byte = value ? 1 : 0;  // a producer writes one byte for BOOL8
        Set(command, GenTL::INFO_DATATYPE_BOOL8, &byte, 1);
    }
    void SetPointer(int32_t command, const void* value) { Set(command, GenTL::INFO_DATATYPE_PTR, &value, sizeof value); }
    void Fail(int32_t command, GenTL::GC_ERROR code) { answers[command].result = code; }

    GenTL::GC_ERROR GetBufferInfo(void* bufferHandle, int32_t cmd, int32_t* type, void* buffer, size_t* size) override {
        ++queries[cmd];
        lastHandle = bufferHandle;
        lastOfferedSize = *size;
        const auto found = answers.find(cmd);
        if (found == answers.end()) return GenTL::GC_ERR_NOT_IMPLEMENTED;
        const Answer& answer = found->second;
        if (answer.result != GenTL::GC_ERR_SUCCESS) return answer.result;
        if (*size < answer.size) return GenTL::GC_ERR_BUFFER_TOO_SMALL;
        std::memcpy(buffer, answer.bytes, answer.size);
        *size = answer.size;
        *type = answer.type;
        return GenTL::GC_ERR_SUCCESS;
    }

    std::map<int32_t, Answer> answers;
    std::map<int32_t, int> queries;
    void* lastHandle = nullptr;
    size_t lastOfferedSize = 0;

private:
    void Set(int32_t command, int32_t type, const void* value, size_t size) {
        Answer& answer = answers[command];
        answer = Answer{};
        answer.type = type;
        answer.size = size;
        std::memcpy(answer.bytes, value, size);
    }
};

} // namespace Vireo::Testing

#endif
