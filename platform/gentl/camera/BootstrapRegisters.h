// The GigE Vision bootstrap registers of a virtual camera (0x0000-0x9FFF): identity, network
// configuration, capabilities, control privilege, message and stream channels. The camera's
// own features that stand for these registers (DeviceSerialNumber, GevSCPSPacketSize...) are
// laid onto them, so the producer in the process and the device server on the network read
// and write the same values. Side effects that need a network (control privilege, streaming)
// belong to the device server; this class only stores, checks access and keeps the clock.
#ifndef VIRTUALGENTL_BOOTSTRAPREGISTERS_H
#define VIRTUALGENTL_BOOTSTRAPREGISTERS_H

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace VirtualGenTL {

struct CameraModel;
struct CameraIdentity;

class BootstrapRegisters {
public:
    static constexpr uint32_t kSize = 0xA000;
    static constexpr uint32_t kTickFrequency = 1000000000;  // timestamps count nanoseconds
    static constexpr uint32_t kPendingTimeoutMs = 500;

    // firstUrl: where the description file is, e.g. "Local:Vireo_VC2448C.zip;100000;1A2B".
    // The identity strings start empty: they are the camera's features, set through them.
    BootstrapRegisters(const CameraModel& model, const CameraIdentity& identity, uint32_t streamChannels,
                       const std::string& firstUrl);

    enum class Result { Ok, InvalidAddress, WriteProtect };
    // Whole 4-byte words only. A read of an address no register holds is InvalidAddress; a
    // write to a read-only one WriteProtect (nothing of a refused write is stored).
    Result Read(uint32_t address, void* buffer, size_t size) const;
    Result Write(uint32_t address, const void* buffer, size_t size);
    // Writes whatever the access mode, for the camera's own code.
    void Poke(uint32_t address, const void* buffer, size_t size);

    uint32_t Get(uint32_t address) const;
    void Set(uint32_t address, uint32_t value);
    std::string Text(uint32_t address, size_t size) const;

    uint32_t StreamChannels() const { return m_streamChannels; }
    // The device clock in ticks, and the value the latch bit of the timestamp control stored.
    static uint64_t Ticks();

private:
    enum Access : uint8_t { None, R, W, RW };
    void Map(uint32_t address, uint32_t size, Access access);
    void PutWord(uint32_t address, uint32_t value);
    void PutText(uint32_t address, uint32_t size, const std::string& text);
    void AfterWrite(uint32_t address);

    mutable std::mutex m_mutex;  // guards m_bytes
    std::vector<uint8_t> m_bytes;
    std::vector<Access> m_access;  // one per word
    uint32_t m_streamChannels = 1;
};

} // namespace VirtualGenTL

#endif
