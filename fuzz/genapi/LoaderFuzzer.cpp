// Feeds arbitrary bytes to the description-file loader (plain or zipped XML), then connects a
// blank port and reads every readable node. Only GenICam exceptions may come out.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <GenApi/GenApi.h>

namespace {

using namespace GenApi;

// Reads zeros and forgets writes, so that no input can make it hold much memory.
class BlankPort : public IPort {
public:
    EAccessMode GetAccessMode() const override { return RW; }
    void Read(void* buffer, int64_t, int64_t length) override { std::memset(buffer, 0, static_cast<size_t>(length)); }
    void Write(const void*, int64_t, int64_t) override {}
};

// Register reads beyond this length are skipped: they test nothing new and cost time.
constexpr int64_t kLongestRead = 4096;

void Exercise(INode* node) {
    if (!IsReadable(node)) return;
    if (CRegisterPtr reg = node)
        if (reg->GetLength() > kLongestRead) return;
    if (CValuePtr value = node) (void)value->ToString();
    if (CIntegerPtr integer = node) {
        (void)integer->GetMin();
        (void)integer->GetMax();
        if (IsWritable(node)) integer->SetValue(integer->GetMin());
    }
    if (CFloatPtr real = node) {
        (void)real->GetMin();
        (void)real->GetMax();
    }
    if (CEnumerationPtr enumeration = node) {
        StringList_t symbolics;
        enumeration->GetSymbolics(symbolics);
    }
    if (CCommandPtr command = node) (void)command->IsDone();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    INodeMap* map = nullptr;
    try {
        CNodeMapFactory factory(ContentType_Auto, data, size);
        map = factory.CreateNodeMap();
    } catch (const GenICam::GenericException&) {
        return 0;
    }
    BlankPort port;
    NodeList_t nodes;
    map->GetNodes(nodes);
    for (INode* node : nodes)
        if (node->GetPrincipalInterfaceType() == intfIPort) map->Connect(&port, node->GetName());
    for (INode* node : nodes) {
        try {
            Exercise(node);
        } catch (const GenICam::GenericException&) {
        }
    }
    map->InvalidateNodes();
    map->Poll(1000);
    dynamic_cast<IDestroy*>(map)->Destroy();
    return 0;
}
