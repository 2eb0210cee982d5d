// Stands in for the producer in tests that must see exactly what reaches it: every function
// records its call, arguments included, and answers a scripted result code.
#ifndef VIREO_TESTS_SUPPORT_PRODUCERRECORDER_H
#define VIREO_TESTS_SUPPORT_PRODUCERRECORDER_H

#include <cstdio>
#include <string>
#include <type_traits>
#include <vector>

#include "transport/Producer.h"

namespace Vireo::Testing {

inline std::string FormatArgument(const char* text) { return text != nullptr ? '"' + std::string(text) + '"' : "null"; }

template <class T>
std::string FormatArgument(T* pointer) {
    char text[32];
    std::snprintf(text, sizeof text, "%p", static_cast<const void*>(pointer));
    return text;
}

template <class T, std::enable_if_t<std::is_arithmetic_v<T>, int> = 0>
std::string FormatArgument(T value) {
    return std::to_string(value);
}

template <class... Arguments>
std::string FormatCall(const char* function, Arguments... arguments) {
    std::string call = std::string(function) + "(";
    [[maybe_unused]] const char* separator = "";
    ((call += separator + FormatArgument(arguments), separator = ", "), ...);
    return call + ")";
}

class ProducerRecorder {
public:
    ProducerRecorder() {
        Calls().clear();
        Answer() = GenTL::GC_ERR_SUCCESS;
        ProducerFunctions recording{};
#define VIREO_GENTL_FUNCTION(name) recording.name = &Record<Name_##name>;
#include "transport/ProducerFunctions.inc"
#undef VIREO_GENTL_FUNCTION
        // Opening a system hands out a handle, as a producer does.
        recording.TLOpen = [](GenTL::TL_HANDLE* system) {
            Calls().push_back(FormatCall("TLOpen", system));
            if (Answer() == GenTL::GC_ERR_SUCCESS) *system = kOpenedSystem;
            return Answer();
        };
        m_previous = ReplaceProducerForTesting(recording);
    }
    ~ProducerRecorder() { ReplaceProducerForTesting(m_previous); }
    ProducerRecorder(const ProducerRecorder&) = delete;
    ProducerRecorder& operator=(const ProducerRecorder&) = delete;

    static std::vector<std::string>& Calls() {
        static std::vector<std::string> calls;
        return calls;
    }
    static GenTL::GC_ERROR& Answer() {
        static GenTL::GC_ERROR answer = GenTL::GC_ERR_SUCCESS;
        return answer;
    }
    static std::string LastCall() { return Calls().empty() ? std::string() : Calls().back(); }

    static inline void* const kOpenedSystem = reinterpret_cast<void*>(0x5157);

private:
#define VIREO_GENTL_FUNCTION(name) static constexpr char Name_##name[] = #name;
#include "transport/ProducerFunctions.inc"
#undef VIREO_GENTL_FUNCTION

    template <const char* Name, class... Arguments>
    static GenTL::GC_ERROR Record(Arguments... arguments) {
        Calls().push_back(FormatCall(Name, arguments...));
        return Answer();
    }

    ProducerFunctions m_previous{};
};

} // namespace Vireo::Testing

#endif
