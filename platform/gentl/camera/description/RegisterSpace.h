// The register port of one module: the registers of its description's features, laid out
// as the description says, and the description file itself at kFileAddress. Reads and
// writes from the port are checked against the features' access modes; the module's own
// code reads and sets values by feature name and is told of writes through hooks.
#ifndef VIRTUALGENTL_REGISTERSPACE_H
#define VIRTUALGENTL_REGISTERSPACE_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Description.h"

namespace VirtualGenTL {

class RegisterSpace {
public:
    static constexpr uint64_t kFileAddress = 0x100000;

    // fileBytes: the description file as served (plain XML or a zip archive).
    RegisterSpace(std::shared_ptr<const Description> description, std::vector<uint8_t> fileBytes);

    // Port access, as GCReadPort / GCWritePort see it. Throws ProducerError.
    void Read(uint64_t address, void* buffer, size_t size);
    void Write(uint64_t address, const void* buffer, size_t size);

    // Typed access by feature name for the module's own code; bypasses access modes.
    int64_t GetInteger(const std::string& name, uint32_t index = 0) const;
    void SetInteger(const std::string& name, int64_t value, uint32_t index = 0);
    double GetFloat(const std::string& name, uint32_t index = 0) const;
    void SetFloat(const std::string& name, double value, uint32_t index = 0);
    std::string GetString(const std::string& name) const;
    void SetString(const std::string& name, const std::string& value);
    bool Has(const std::string& name) const { return m_description->Find(name) != nullptr; }

    // Called after the port wrote the feature's register (value as now stored, and for
    // selected features the selector index). Runs with the space's lock released.
    using Hook = std::function<void(int64_t value, uint32_t index)>;
    void OnWrite(const std::string& name, Hook hook);
    // Supplies the current value of a read-only feature when the port reads it (counters that
    // change with every frame are not stored on every change).
    using ReadHook = std::function<int64_t()>;
    void OnRead(const std::string& name, ReadHook hook);
    // Bumped by every write, from the port or from the module's code: settings derived from
    // the registers stay valid while it does not change.
    uint64_t Version() const { return m_version.load(std::memory_order_acquire); }
    // Decides whether a port write may happen (e.g. locked while streaming); throws to refuse.
    using Guard = std::function<void(const Feature& feature)>;
    void SetWriteGuard(Guard guard) { m_guard = std::move(guard); }

    // Serves the addresses below the description's base address (a GigE Vision camera's
    // bootstrap registers), where features with a fixed address lie. The port's reads and
    // writes there are checked by the lower port itself (throwing ProducerError); `poke`
    // writes for the module's own code, whatever the access mode.
    struct LowerPort {
        std::function<void(uint64_t address, void* buffer, size_t size)> read;
        std::function<void(uint64_t address, const void* buffer, size_t size)> write;
        std::function<void(uint64_t address, const void* buffer, size_t size)> poke;
    };
    void SetLowerPort(LowerPort port) { m_lower = std::move(port); }

    const Description& GetDescription() const { return *m_description; }
    uint64_t FileSize() const { return m_file.size(); }
    // The URL of the description file on this port, e.g. "local:GenTLSystem.xml;100000;2A0".
    std::string FileUrl(const std::string& fileName) const;

private:
    uint64_t Load(const Feature& feature, uint32_t index) const;  // raw register value
    void Store(const Feature& feature, uint32_t index, uint64_t raw);
    uint8_t* Bytes(const Feature& feature, uint32_t index);  // in the own block
    const uint8_t* Bytes(const Feature& feature, uint32_t index) const;
    uint64_t Decode(const Feature& feature, const uint8_t* bytes) const;
    void Encode(const Feature& feature, uint64_t raw, uint8_t* bytes) const;
    const Feature* FeatureAt(uint64_t address, size_t size, uint32_t* index) const;

    std::shared_ptr<const Description> m_description;
    std::vector<uint8_t> m_file;
    mutable std::mutex m_mutex;  // guards m_registers
    std::vector<uint8_t> m_registers;
    std::map<std::string, Hook> m_hooks;
    std::map<const Feature*, ReadHook> m_readHooks;
    std::atomic<uint64_t> m_version{0};
    Guard m_guard;
    LowerPort m_lower;
};

} // namespace VirtualGenTL

#endif
