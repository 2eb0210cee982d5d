#include "BootstrapRegisters.h"

#include <chrono>
#include <cstring>

#include <GigE/BootstrapRegisters.h>
#include <GigE/GvcpConstants.h>

#include "VirtualCamera.h"

namespace VirtualGenTL {

namespace Reg = GigE::Register;

BootstrapRegisters::BootstrapRegisters(const CameraModel& model, const CameraIdentity& identity,
                                       uint32_t streamChannels, const std::string& firstUrl)
    : m_bytes(kSize, 0), m_access(kSize / 4, None), m_streamChannels(streamChannels) {
    Map(Reg::version, 4, R);
    PutWord(Reg::version, 0x00020001);  // 2.1: extended ids, multi-part
    Map(Reg::deviceMode, 4, R);
    PutWord(Reg::deviceMode, Reg::DeviceMode::bigEndian | Reg::DeviceMode::characterSetUtf8);
    Map(Reg::macAddressHigh, 8, R);
    PutWord(Reg::macAddressHigh, uint32_t(identity.macAddress >> 32) & 0xFFFF);
    PutWord(Reg::macAddressLow, uint32_t(identity.macAddress));
    namespace Ip = Reg::IpConfiguration;
    Map(Reg::networkInterfaceCapability, 4, R);
    PutWord(Reg::networkInterfaceCapability, Ip::persistentIp | Ip::dhcp | Ip::linkLocalAddress);
    Map(Reg::networkInterfaceConfiguration, 4, RW);
    PutWord(Reg::networkInterfaceConfiguration, Ip::linkLocalAddress | (identity.persistentIp ? Ip::persistentIp : 0) |
                                                    (identity.dhcp ? Ip::dhcp : 0));
    for (uint32_t address : {Reg::currentIpAddress, Reg::currentSubnetMask, Reg::currentDefaultGateway}) Map(address, 4, R);
    PutWord(Reg::currentIpAddress, identity.ipAddress);
    PutWord(Reg::currentSubnetMask, identity.subnetMask);
    PutWord(Reg::currentDefaultGateway, identity.defaultGateway);
    // The strings are the camera's Device* features, which the camera sets.
    Map(Reg::manufacturerName, Reg::stringSize, R);
    Map(Reg::modelName, Reg::stringSize, R);
    Map(Reg::deviceVersion, Reg::stringSize, R);
    Map(Reg::manufacturerInfo, Reg::manufacturerInfoSize, R);
    Map(Reg::serialNumber, Reg::shortStringSize, R);
    Map(Reg::userDefinedName, Reg::shortStringSize, RW);
    Map(Reg::firstUrl, Reg::urlSize, R);
    PutText(Reg::firstUrl, Reg::urlSize, firstUrl);
    Map(Reg::secondUrl, Reg::urlSize, R);
    Map(Reg::networkInterfaceCount, 4, R);
    PutWord(Reg::networkInterfaceCount, 1);
    for (uint32_t address : {Reg::persistentIpAddress, Reg::persistentSubnetMask, Reg::persistentDefaultGateway})
        Map(address, 4, RW);
    PutWord(Reg::persistentIpAddress, identity.ipAddress);
    PutWord(Reg::persistentSubnetMask, identity.subnetMask);
    PutWord(Reg::persistentDefaultGateway, identity.defaultGateway);
    Map(Reg::linkSpeed, 4, R);
    PutWord(Reg::linkSpeed, uint32_t(model.linkSpeed * 8 / 1000000));  // Mbit/s
    Map(Reg::messageChannelCount, 4, R);
    PutWord(Reg::messageChannelCount, 1);
    Map(Reg::streamChannelCount, 4, R);
    PutWord(Reg::streamChannelCount, streamChannels);
    Map(Reg::actionSignalCount, 4, R);
    PutWord(Reg::actionSignalCount, 1);
    Map(Reg::actionDeviceKey, 4, RW);  // write-only on some devices; reading it back harms no one
    Map(Reg::activeLinkCount, 4, R);
    PutWord(Reg::activeLinkCount, 1);
    Map(Reg::gvspCapability, 4, R);
    PutWord(Reg::gvspCapability, Reg::GvspCapability::sourcePortRegisters | Reg::GvspCapability::legacyBlockId);
    Map(Reg::messageChannelCapability, 4, R);
    PutWord(Reg::messageChannelCapability, Reg::MessageChannelCapability::sourcePortRegister);
    namespace Cap = Reg::GvcpCapability;
    Map(Reg::gvcpCapability, 4, R);
    PutWord(Reg::gvcpCapability, Cap::userDefinedName | Cap::serialNumber | Cap::heartbeatDisable | Cap::linkSpeed |
                                     Cap::primaryApplicationPortAndIp | Cap::discoveryAckDelay |
                                     Cap::discoveryAckDelayWritable | Cap::scheduledAction | Cap::action |
                                     Cap::pendingAck | Cap::eventData | Cap::event | Cap::packetResend |
                                     Cap::writeMemory | Cap::concatenation);
    Map(Reg::heartbeatTimeout, 4, RW);
    PutWord(Reg::heartbeatTimeout, Reg::defaultHeartbeatTimeoutMs);
    Map(Reg::timestampTickFrequencyHigh, 8, R);
    PutWord(Reg::timestampTickFrequencyLow, kTickFrequency);
    Map(Reg::timestampControl, 4, W);
    Map(Reg::timestampValueHigh, 8, R);
    Map(Reg::discoveryAckDelay, 4, RW);
    Map(Reg::gvcpConfiguration, 4, RW);
    PutWord(Reg::gvcpConfiguration, Reg::GvcpConfiguration::pendingAck);
    Map(Reg::pendingTimeout, 4, R);
    PutWord(Reg::pendingTimeout, kPendingTimeoutMs);
    Map(Reg::gvspConfiguration, 4, RW);
    Map(Reg::scheduledActionQueueSize, 4, R);
    PutWord(Reg::scheduledActionQueueSize, 16);
    Map(Reg::controlChannelPrivilege, 4, RW);
    Map(Reg::primaryApplicationPort, 4, R);
    Map(Reg::primaryApplicationIpAddress, 4, R);
    for (uint32_t address : {Reg::messageChannelPort, Reg::messageChannelDestinationAddress,
                             Reg::messageChannelTransmissionTimeout, Reg::messageChannelRetryCount})
        Map(address, 4, RW);
    PutWord(Reg::messageChannelTransmissionTimeout, 300);
    PutWord(Reg::messageChannelRetryCount, 2);
    Map(Reg::messageChannelSourcePort, 4, R);
    namespace Sc = Reg::StreamChannelOffset;
    namespace Scc = Reg::StreamChannelCapability;
    for (uint32_t channel = 0; channel < streamChannels; ++channel) {
        const uint32_t base = Reg::streamChannel(channel);
        for (uint32_t offset : {Sc::port, Sc::packetSize, Sc::packetDelay, Sc::destinationAddress, Sc::configuration})
            Map(base + offset, 4, RW);
        for (uint32_t offset : {Sc::sourcePort, Sc::capability, Sc::zoneCount, Sc::zoneDirections}) Map(base + offset, 4, R);
        PutWord(base + Sc::packetSize, 1500);  // fits the common Ethernet MTU
        PutWord(base + Sc::capability, Scc::multiPart | Scc::unconditionalStreaming | Scc::extendedChunkData);
        PutWord(base + Sc::configuration, Scc::extendedChunkData);
    }
    Map(Reg::actionGroupKey(0), 8, RW);
}

void BootstrapRegisters::Map(uint32_t address, uint32_t size, Access access) {
    for (uint32_t word = address / 4; word < (address + size) / 4; ++word) m_access[word] = access;
}

void BootstrapRegisters::PutWord(uint32_t address, uint32_t value) {
    for (int byte = 0; byte < 4; ++byte) m_bytes[address + byte] = uint8_t(value >> (24 - 8 * byte));
}

void BootstrapRegisters::PutText(uint32_t address, uint32_t size, const std::string& text) {
    std::memset(&m_bytes[address], 0, size);
    std::memcpy(&m_bytes[address], text.data(), std::min<size_t>(text.size(), size));
}

uint64_t BootstrapRegisters::Ticks() {
    return uint64_t(std::chrono::duration_cast<std::chrono::nanoseconds>(
                        std::chrono::steady_clock::now().time_since_epoch())
                        .count());
}

BootstrapRegisters::Result BootstrapRegisters::Read(uint32_t address, void* buffer, size_t size) const {
    if (address % 4 != 0 || size % 4 != 0 || address >= kSize || size > kSize - address) return Result::InvalidAddress;
    std::lock_guard lock(m_mutex);
    for (uint32_t word = address / 4; word < (address + size) / 4; ++word)
        if (m_access[word] == None) return Result::InvalidAddress;
    std::memcpy(buffer, &m_bytes[address], size);
    return Result::Ok;
}

BootstrapRegisters::Result BootstrapRegisters::Write(uint32_t address, const void* buffer, size_t size) {
    if (address % 4 != 0 || size % 4 != 0 || address >= kSize || size > kSize - address) return Result::InvalidAddress;
    std::lock_guard lock(m_mutex);
    for (uint32_t word = address / 4; word < (address + size) / 4; ++word) {
        if (m_access[word] == None) return Result::InvalidAddress;
        if (m_access[word] == R) return Result::WriteProtect;
    }
    std::memcpy(&m_bytes[address], buffer, size);
    for (uint32_t word = address; word < address + size; word += 4) AfterWrite(word);
    return Result::Ok;
}

void BootstrapRegisters::Poke(uint32_t address, const void* buffer, size_t size) {
    if (address >= kSize || size > kSize - address) return;
    std::lock_guard lock(m_mutex);
    std::memcpy(&m_bytes[address], buffer, size);
}

// Registers whose write does something beyond storing the value, and that need nothing but
// the camera: the clock, and the self-clearing bits.
void BootstrapRegisters::AfterWrite(uint32_t address) {
    if (address == Reg::timestampControl) {
        const uint32_t control = (uint32_t(m_bytes[address]) << 24) | (uint32_t(m_bytes[address + 1]) << 16) |
                                 (uint32_t(m_bytes[address + 2]) << 8) | m_bytes[address + 3];
        if (control & Reg::TimestampControl::latch) {
            const uint64_t ticks = Ticks();
            PutWord(Reg::timestampValueHigh, uint32_t(ticks >> 32));
            PutWord(Reg::timestampValueLow, uint32_t(ticks));
        }
        PutWord(address, 0);
    }
}

uint32_t BootstrapRegisters::Get(uint32_t address) const {
    std::lock_guard lock(m_mutex);
    return (uint32_t(m_bytes[address]) << 24) | (uint32_t(m_bytes[address + 1]) << 16) |
           (uint32_t(m_bytes[address + 2]) << 8) | m_bytes[address + 3];
}

void BootstrapRegisters::Set(uint32_t address, uint32_t value) {
    std::lock_guard lock(m_mutex);
    PutWord(address, value);
}

std::string BootstrapRegisters::Text(uint32_t address, size_t size) const {
    std::lock_guard lock(m_mutex);
    const char* text = reinterpret_cast<const char*>(&m_bytes[address]);
    return std::string(text, strnlen(text, size));
}

} // namespace VirtualGenTL
