#include "RegisterSpace.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>

#include "../Failure.h"

namespace VirtualGenTL {

RegisterSpace::RegisterSpace(std::shared_ptr<const Description> description, std::vector<uint8_t> fileBytes)
    : m_description(std::move(description)), m_file(std::move(fileBytes)),
      m_registers(m_description->RegisterBytes(), 0) {}

std::string RegisterSpace::FileUrl(const std::string& fileName) const {
    char text[128];
    std::snprintf(text, sizeof text, ";%llX;%llX", static_cast<unsigned long long>(kFileAddress),
                  static_cast<unsigned long long>(m_file.size()));
    return "local:" + fileName + text;
}

const Feature* RegisterSpace::FeatureAt(uint64_t address, size_t size, uint32_t* index) const {
    for (const Feature& feature : m_description->Features()) {
        if (feature.chunkId != 0 || feature.eventId != 0 || feature.fixedAddress) continue;
        const uint64_t length = Description::RegisterLength(feature);
        const uint64_t stride = Description::ElementStride(feature);
        const uint64_t count = feature.selector.empty() ? 1 : feature.selectorCount;
        if (address < feature.address || address >= feature.address + stride * count) continue;
        const uint64_t element = (address - feature.address) / stride;
        if (address + size > feature.address + element * stride + length) return nullptr;  // straddles registers
        *index = static_cast<uint32_t>(element);
        return &feature;
    }
    return nullptr;
}

void RegisterSpace::Read(uint64_t address, void* buffer, size_t size) {
    if (buffer == nullptr) Fail(GenTL::GC_ERR_INVALID_PARAMETER, "the buffer is null");
    if (address >= kFileAddress) {
        // Hosts read whole words: the last partial word of the file reads with zeros after it.
        const uint64_t offset = address - kFileAddress, readable = (m_file.size() + 3) / 4 * 4;
        if (offset > readable || size > readable - offset)
            Fail(GenTL::GC_ERR_INVALID_ADDRESS, "read past the end of the description file");
        const uint64_t present = offset < m_file.size() ? std::min<uint64_t>(size, m_file.size() - offset) : 0;
        std::memcpy(buffer, m_file.data() + offset, present);
        std::memset(static_cast<uint8_t*>(buffer) + present, 0, size - present);
        return;
    }
    if (address < m_description->BaseAddress()) {
        if (!m_lower.read) Fail(GenTL::GC_ERR_INVALID_ADDRESS, "no register at this address and length");
        m_lower.read(address, buffer, size);
        return;
    }
    uint32_t index = 0;
    const Feature* feature = FeatureAt(address, size, &index);
    if (feature == nullptr) Fail(GenTL::GC_ERR_INVALID_ADDRESS, "no register at this address and length");
    if (feature->access == Access::WO) Fail(GenTL::GC_ERR_ACCESS_DENIED, feature->name + " is write-only");
    const auto readHook = m_readHooks.find(feature);
    const int64_t fresh = readHook != m_readHooks.end() ? readHook->second() : 0;
    std::lock_guard lock(m_mutex);
    if (readHook != m_readHooks.end()) Store(*feature, index, uint64_t(fresh));
    std::memcpy(buffer, m_registers.data() + (address - m_description->BaseAddress()), size);
}

void RegisterSpace::Write(uint64_t address, const void* buffer, size_t size) {
    if (buffer == nullptr) Fail(GenTL::GC_ERR_INVALID_PARAMETER, "the buffer is null");
    if (address < m_description->BaseAddress()) {
        if (!m_lower.write) Fail(GenTL::GC_ERR_INVALID_ADDRESS, "no writable register at this address and length");
        // The features laid onto these registers are locked and hooked as any other.
        std::vector<std::pair<const Feature*, uint32_t>> written;
        for (const Feature& feature : m_description->Features()) {
            if (!feature.fixedAddress) continue;
            const uint64_t stride = Description::ElementStride(feature);
            const uint64_t count = feature.selector.empty() ? 1 : feature.selectorCount;
            for (uint64_t element = 0; element < count; ++element) {
                const uint64_t start = feature.address + element * stride;
                if (start < address + size && address < start + Description::RegisterLength(feature))
                    written.emplace_back(&feature, uint32_t(element));
            }
        }
        if (m_guard)
            for (const auto& [feature, index] : written) m_guard(*feature);
        m_lower.write(address, buffer, size);
        m_version.fetch_add(1, std::memory_order_acq_rel);
        for (const auto& [feature, index] : written) {
            const auto hook = m_hooks.find(feature->name);
            if (hook == m_hooks.end()) continue;
            int64_t value = 0;
            {
                std::lock_guard lock(m_mutex);
                if (feature->kind != FeatureKind::String && feature->kind != FeatureKind::Float)
                    value = static_cast<int64_t>(Load(*feature, index));
            }
            hook->second(value, index);
        }
        return;
    }
    uint32_t index = 0;
    const Feature* feature = address < kFileAddress ? FeatureAt(address, size, &index) : nullptr;
    if (feature == nullptr) Fail(GenTL::GC_ERR_INVALID_ADDRESS, "no writable register at this address and length");
    if (feature->access == Access::RO) Fail(GenTL::GC_ERR_ACCESS_DENIED, feature->name + " is read-only");
    if (m_guard) m_guard(*feature);
    int64_t value = 0;
    {
        std::lock_guard lock(m_mutex);
        std::memcpy(m_registers.data() + (address - m_description->BaseAddress()), buffer, size);
        m_version.fetch_add(1, std::memory_order_acq_rel);
        if (feature->kind != FeatureKind::String && feature->kind != FeatureKind::Float)
            value = static_cast<int64_t>(Load(*feature, index));
    }
    const auto hook = m_hooks.find(feature->name);
    if (hook != m_hooks.end()) hook->second(value, index);
}

void RegisterSpace::OnRead(const std::string& name, ReadHook hook) {
    m_readHooks[&m_description->Get(name)] = std::move(hook);
}

void RegisterSpace::OnWrite(const std::string& name, Hook hook) {
    m_description->Get(name);  // must exist
    m_hooks[name] = std::move(hook);
}

uint8_t* RegisterSpace::Bytes(const Feature& feature, uint32_t index) {
    return m_registers.data() + (feature.address - m_description->BaseAddress()) +
           uint64_t(index) * Description::ElementStride(feature);
}

const uint8_t* RegisterSpace::Bytes(const Feature& feature, uint32_t index) const {
    return const_cast<RegisterSpace*>(this)->Bytes(feature, index);
}

uint64_t RegisterSpace::Decode(const Feature& feature, const uint8_t* bytes) const {
    const uint32_t length = Description::RegisterLength(feature);
    uint64_t value = 0;
    for (uint32_t byte = 0; byte < length; ++byte) {
        const uint32_t position = m_description->BigEndian() ? byte : length - 1 - byte;
        value = value << 8 | bytes[position];
    }
    return value;
}

void RegisterSpace::Encode(const Feature& feature, uint64_t raw, uint8_t* bytes) const {
    const uint32_t length = Description::RegisterLength(feature);
    for (uint32_t byte = 0; byte < length; ++byte) {
        const uint32_t position = m_description->BigEndian() ? length - 1 - byte : byte;
        bytes[position] = static_cast<uint8_t>(raw >> (8 * byte));
    }
}

uint64_t RegisterSpace::Load(const Feature& feature, uint32_t index) const {
    const uint32_t length = Description::RegisterLength(feature);
    uint64_t value = 0;
    if (feature.fixedAddress) {
        if (!m_lower.read) throw std::logic_error(feature.name + " lies below the base address, which has no port");
        uint8_t bytes[8] = {};
        m_lower.read(feature.address + uint64_t(index) * Description::ElementStride(feature), bytes, length);
        value = Decode(feature, bytes);
    } else {
        value = Decode(feature, Bytes(feature, index));
    }
    if (feature.fieldMask != 0) return (value & feature.fieldMask) >> std::countr_zero(feature.fieldMask);
    if (feature.kind == FeatureKind::Integer && feature.min < 0 && length < 8) {
        const uint64_t sign = uint64_t(1) << (length * 8 - 1);
        if (value & sign) value |= ~((sign << 1) - 1);
    }
    return value;
}

void RegisterSpace::Store(const Feature& feature, uint32_t index, uint64_t raw) {
    m_version.fetch_add(1, std::memory_order_acq_rel);
    if (!feature.fixedAddress) {
        Encode(feature, raw, Bytes(feature, index));
        return;
    }
    if (!m_lower.read || !m_lower.poke) throw std::logic_error(feature.name + " lies below the base address, which has no port");
    const uint64_t address = feature.address + uint64_t(index) * Description::ElementStride(feature);
    const uint32_t length = Description::RegisterLength(feature);
    uint8_t bytes[8] = {};
    if (feature.fieldMask != 0) {
        m_lower.read(address, bytes, length);
        const uint64_t mask = feature.fieldMask;
        raw = (Decode(feature, bytes) & ~mask) | ((raw << std::countr_zero(feature.fieldMask)) & mask);
    }
    Encode(feature, raw, bytes);
    m_lower.poke(address, bytes, length);
}

int64_t RegisterSpace::GetInteger(const std::string& name, uint32_t index) const {
    const Feature& feature = m_description->Get(name);
    std::lock_guard lock(m_mutex);
    return static_cast<int64_t>(Load(feature, index));
}

void RegisterSpace::SetInteger(const std::string& name, int64_t value, uint32_t index) {
    const Feature& feature = m_description->Get(name);
    std::lock_guard lock(m_mutex);
    Store(feature, index, static_cast<uint64_t>(value));
}

double RegisterSpace::GetFloat(const std::string& name, uint32_t index) const {
    const Feature& feature = m_description->Get(name);
    std::lock_guard lock(m_mutex);
    const uint64_t raw = Load(feature, index);
    double value;
    std::memcpy(&value, &raw, sizeof value);
    return value;
}

void RegisterSpace::SetFloat(const std::string& name, double value, uint32_t index) {
    const Feature& feature = m_description->Get(name);
    uint64_t raw;
    std::memcpy(&raw, &value, sizeof raw);
    std::lock_guard lock(m_mutex);
    Store(feature, index, raw);
}

std::string RegisterSpace::GetString(const std::string& name) const {
    const Feature& feature = m_description->Get(name);
    std::lock_guard lock(m_mutex);
    std::string text(feature.length, '\0');
    if (feature.fixedAddress) {
        m_lower.read(feature.address, text.data(), feature.length);
    } else {
        std::memcpy(text.data(), Bytes(feature, 0), feature.length);
    }
    text.resize(strnlen(text.c_str(), feature.length));
    return text;
}

void RegisterSpace::SetString(const std::string& name, const std::string& value) {
    const Feature& feature = m_description->Get(name);
    std::lock_guard lock(m_mutex);
    m_version.fetch_add(1, std::memory_order_acq_rel);
    std::vector<uint8_t> bytes(feature.length, 0);
    std::memcpy(bytes.data(), value.data(), std::min<size_t>(value.size(), feature.length - 1));
    if (feature.fixedAddress) {
        m_lower.poke(feature.address, bytes.data(), bytes.size());
    } else {
        std::memcpy(Bytes(feature, 0), bytes.data(), bytes.size());
    }
}

} // namespace VirtualGenTL
