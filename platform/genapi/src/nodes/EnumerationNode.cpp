#include "nodes/EnumerationNode.h"

#include "nodemap/NodeMap.h"
#include "nodes/IntegerBase.h"
#include "nodes/ValueText.h"

namespace GenApi::detail {

namespace {
bool AcceptInteger(const Node* node) { return IsIntegerKind(node->Kind()); }
} // namespace

bool EnumerationNode::ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) {
    if (m_source.Parse(this, element, child, builder)) return true;
    if (element == "EnumEntry") {
        const std::string entryName = child.attribute("Name").value();
        if (entryName.empty()) builder.Fail(this, "<EnumEntry> without a Name");
        Node* entry = builder.CreateNode(child, "EnumEntry_" + m_name + "_" + entryName);
        m_entries.push_back(static_cast<EnumEntryNode*>(entry));
        return true;
    }
    return Node::ParseProperty(element, child, builder);
}

void EnumerationNode::Link(NodeBuilder& builder) {
    Node::Link(builder);
    m_source.Link(this, builder, AcceptInteger, "an integer");
}

bool EnumerationNode::FindEntryValue(std::string_view symbolic, int64_t& value) const {
    for (const EnumEntryNode* entry : m_entries) {
        if (entry->Symbolic() != symbolic) continue;
        value = entry->Value();
        return true;
    }
    return false;
}

EnumEntryNode* EnumerationNode::EntryOf(int64_t value) const {
    for (EnumEntryNode* entry : m_entries)
        if (entry->Value() == value) return entry;
    return nullptr;
}

EnumEntryNode* EnumerationNode::CurrentEntry(bool ignoreCache) {
    const int64_t value = m_source.Read(ignoreCache);
    EnumEntryNode* entry = EntryOf(value);
    if (entry == nullptr)
        throw RUNTIME_EXCEPTION("Node '%s': value %lld does not match any entry", m_name, static_cast<long long>(value));
    return entry;
}

void EnumerationNode::WriteInt(int64_t value) {
    m_source.Write(value);
    ValueWritten();
}

GenICam::gcstring EnumerationNode::ToString(bool, bool IgnoreCache) {
    NodeMap::Entry entry(m_map);
    CheckReadable();
    return CurrentEntry(IgnoreCache)->Symbolic();
}

void EnumerationNode::FromString(const GenICam::gcstring& ValueStr, bool Verify) {
    NodeMap::Entry entry(m_map);
    const std::string symbolic(Trim(ValueStr.str()));
    for (EnumEntryNode* candidate : m_entries) {
        if (candidate->Symbolic() != symbolic) continue;
        SetIntValue(candidate->Value(), Verify);
        return;
    }
    throw INVALID_ARGUMENT_EXCEPTION("Node '%s': '%s' is not an entry of the enumeration", m_name, ValueStr);
}

bool EnumerationNode::IsValueCacheValid() const {
    NodeMap::Entry entry(m_map);
    return ValueCachesValid(this);
}

void EnumerationNode::GetSymbolics(StringList_t& Symbolics) {
    NodeMap::Entry entry(m_map);
    Symbolics.clear();
    for (EnumEntryNode* candidate : m_entries)
        if (GenApi::IsAvailable(candidate->AccessMode())) Symbolics.push_back(candidate->Symbolic());
}

void EnumerationNode::GetEntries(NodeList_t& Entries) {
    Entries.assign(m_entries.begin(), m_entries.end());
}

void EnumerationNode::SetIntValue(int64_t Value, bool) {
    NodeMap::Entry entry(m_map);
    CheckWritable();
    EnumEntryNode* target = EntryOf(Value);
    if (target == nullptr)
        throw OUT_OF_RANGE_EXCEPTION("Node '%s': no entry has the value %lld", m_name, static_cast<long long>(Value));
    if (!GenApi::IsAvailable(target->AccessMode()))
        throw ACCESS_EXCEPTION("Node '%s': entry '%s' is not available", m_name, target->Symbolic());
    WriteInt(Value);
}

int64_t EnumerationNode::GetIntValue(bool, bool IgnoreCache) {
    NodeMap::Entry entry(m_map);
    CheckReadable();
    return m_source.Read(IgnoreCache);
}

IEnumEntry* EnumerationNode::GetEntryByName(const GenICam::gcstring& Symbolic) {
    for (EnumEntryNode* candidate : m_entries)
        if (candidate->Symbolic() == Symbolic.str()) return candidate;
    return nullptr;
}

IEnumEntry* EnumerationNode::GetEntry(const int64_t IntValue) { return EntryOf(IntValue); }

IEnumEntry* EnumerationNode::GetCurrentEntry(bool, bool IgnoreCache) {
    NodeMap::Entry entry(m_map);
    CheckReadable();
    return CurrentEntry(IgnoreCache);
}

} // namespace GenApi::detail
