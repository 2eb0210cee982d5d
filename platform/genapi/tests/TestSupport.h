// Helpers shared by the engine's tests: a port backed by memory and node maps built from text.
#ifndef GENAPI_TESTS_TESTSUPPORT_H
#define GENAPI_TESTS_TESTSUPPORT_H

#include <cstring>
#include <map>
#include <memory>
#include <string>

#include <GenApi/GenApi.h>

namespace GenApiTest {

// Sparse register space; unwritten bytes read as zero. Counts accesses so that tests can see
// whether a value came from the cache.
class MemoryPort : public GenApi::IPort {
public:
    GenApi::EAccessMode GetAccessMode() const override { return m_accessMode; }
    void Read(void* buffer, int64_t address, int64_t length) override {
        ++reads;
        auto* bytes = static_cast<uint8_t*>(buffer);
        for (int64_t index = 0; index < length; ++index) {
            const auto found = m_bytes.find(address + index);
            bytes[index] = found == m_bytes.end() ? 0 : found->second;
        }
    }
    void Write(const void* buffer, int64_t address, int64_t length) override {
        ++writes;
        const auto* bytes = static_cast<const uint8_t*>(buffer);
        for (int64_t index = 0; index < length; ++index) m_bytes[address + index] = bytes[index];
    }
    // Little-endian helpers for test setup.
    void Poke(int64_t address, uint64_t value, int length = 4) {
        for (int index = 0; index < length; ++index) m_bytes[address + index] = static_cast<uint8_t>(value >> (8 * index));
    }
    void PokeBigEndian(int64_t address, uint64_t value, int length = 4) {
        for (int index = 0; index < length; ++index)
            m_bytes[address + index] = static_cast<uint8_t>(value >> (8 * (length - 1 - index)));
    }
    uint64_t Peek(int64_t address, int length = 4) {
        uint64_t value = 0;
        for (int index = length - 1; index >= 0; --index) value = (value << 8) | m_bytes[address + index];
        return value;
    }
    void SetAccessMode(GenApi::EAccessMode mode) { m_accessMode = mode; }

    int reads = 0;
    int writes = 0;

private:
    std::map<int64_t, uint8_t> m_bytes;
    GenApi::EAccessMode m_accessMode = GenApi::RW;
};

struct NodeMapDeleter {
    void operator()(GenApi::INodeMap* map) const {
        if (map != nullptr) dynamic_cast<GenApi::IDestroy*>(map)->Destroy();
    }
};
using NodeMapHandle = std::unique_ptr<GenApi::INodeMap, NodeMapDeleter>;

// Wraps node elements in a description root and builds the node map.
inline NodeMapHandle Build(const std::string& nodes) {
    const std::string text = "<?xml version=\"1.0\"?>\n<RegisterDescription ModelName=\"Test\" VendorName=\"Vireo\" "
                             "xmlns=\"http://www.genicam.org/GenApi/Version_1_1\">\n" +
                             nodes + "\n</RegisterDescription>\n";
    GenApi::CNodeMapFactory factory(GenApi::ContentType_Auto, text.data(), text.size());
    return NodeMapHandle(factory.CreateNodeMap());
}

// The message of the GenICam exception the callable throws, or "" when it throws none.
template <class Callable>
std::string ErrorOf(Callable&& callable) {
    try {
        callable();
    } catch (const GenICam::GenericException& error) {
        return error.GetDescription();
    }
    return std::string();
}

} // namespace GenApiTest

#endif
