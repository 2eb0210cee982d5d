// A feature of a module's description file and the register behind it. The producer builds
// each module's GenICam description file and its register layout from one list of these, so
// that the file and the registers can never disagree.
#ifndef VIRTUALGENTL_FEATURE_H
#define VIRTUALGENTL_FEATURE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace VirtualGenTL {

enum class FeatureKind { Integer, Float, Boolean, Enumeration, Command, String };
enum class Access { RO, RW, WO };

struct EnumEntry {
    std::string name;
    int64_t value;
};

struct Feature {
    std::string name;
    FeatureKind kind = FeatureKind::Integer;
    Access access = Access::RW;
    std::string category;       // the category that lists the feature
    std::string description;    // tool tip and description
    int64_t min = 0, max = INT64_MAX, inc = 1;  // Integer
    double floatMin = 0, floatMax = 1e12;       // Float
    std::string unit;
    std::string representation;  // Integer: Linear, HexNumber, IPV4Address, MACAddress
    std::vector<EnumEntry> entries;  // Enumeration
    uint32_t length = 0;         // String: bytes; numbers: 4 or 8 (0 picks the default)
    bool streamable = false;
    // Selected by another feature (e.g. ChunkEnable by ChunkSelector): the register is an
    // array indexed by the selector's value.
    std::string selector;
    uint32_t selectorCount = 0;
    // A value carried in the frame's chunk data, with this chunk ID, rather than a register:
    // it is read through a chunk port from offset 0 of the chunk.
    uint32_t chunkId = 0;
    // A value carried in a GigE Vision event with this event ID: read through the event's
    // port at eventOffset of the event item (2: the ID, 8: the timestamp, 16: the data).
    uint32_t eventId = 0;
    uint64_t eventOffset = 0;
    // A register at a fixed address below the description's own block (a GigE Vision
    // bootstrap register), reached through the register space's lower port.
    std::optional<uint64_t> fixedAddress;
    // A field of a 4-byte register (e.g. the packet size in the low half of a stream channel
    // register): the bits set here; 0 means the whole register.
    uint32_t fieldMask = 0;
    // Bytes between the elements of a selected register; 0 means the register's length.
    uint64_t selectorStride = 0;
    // Kept out of the description file: the register is there, but a consumer sees a module
    // without the feature, as with producers that do not offer it.
    bool unpublished = false;
    // Filled when the layout is built.
    uint64_t address = 0;
};

// Builder helpers, so that feature lists read like tables.
Feature IntegerFeature(std::string name, std::string category, Access access, int64_t min, int64_t max,
                       int64_t inc = 1, std::string unit = {});
Feature FloatFeature(std::string name, std::string category, Access access, double min, double max,
                     std::string unit = {});
Feature BooleanFeature(std::string name, std::string category, Access access = Access::RW);
Feature EnumerationFeature(std::string name, std::string category, std::vector<EnumEntry> entries,
                           Access access = Access::RW);
Feature CommandFeature(std::string name, std::string category);
Feature StringFeature(std::string name, std::string category, uint32_t length, Access access = Access::RO);

} // namespace VirtualGenTL

#endif
