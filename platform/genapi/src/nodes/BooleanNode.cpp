#include "nodes/BooleanNode.h"

#include <strings.h>

#include "nodemap/NodeMap.h"
#include "nodes/IntegerBase.h"
#include "nodes/ValueText.h"

namespace GenApi::detail {

namespace {
bool AcceptInteger(const Node* node) { return IsIntegerKind(node->Kind()); }
} // namespace

bool BooleanNode::ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) {
    if (m_source.Parse(this, element, child, builder)) return true;
    if (element == "OnValue") m_onValue = builder.Integer(this, child);
    else if (element == "OffValue") m_offValue = builder.Integer(this, child);
    else return Node::ParseProperty(element, child, builder);
    return true;
}

void BooleanNode::Link(NodeBuilder& builder) {
    Node::Link(builder);
    m_source.Link(this, builder, AcceptInteger, "an integer");
    if (m_onValue == m_offValue) builder.Fail(this, "OnValue and OffValue are equal");
}

bool BooleanNode::ReadBool(bool ignoreCache) {
    const int64_t value = m_source.Read(ignoreCache);
    if (value == m_onValue) return true;
    if (value == m_offValue) return false;
    throw RUNTIME_EXCEPTION("Node '%s': value %lld is neither OnValue %lld nor OffValue %lld", m_name,
                            static_cast<long long>(value), static_cast<long long>(m_onValue),
                            static_cast<long long>(m_offValue));
}

void BooleanNode::WriteBool(bool value) {
    m_source.Write(value ? m_onValue : m_offValue);
    ValueWritten();
}

GenICam::gcstring BooleanNode::ToString(bool, bool IgnoreCache) {
    NodeMap::Entry entry(m_map);
    CheckReadable();
    return ReadBool(IgnoreCache) ? "1" : "0";
}

void BooleanNode::FromString(const GenICam::gcstring& ValueStr, bool Verify) {
    const std::string text(Trim(ValueStr.str()));
    if (strcasecmp(text.c_str(), "true") == 0 || text == "1") SetValue(true, Verify);
    else if (strcasecmp(text.c_str(), "false") == 0 || text == "0") SetValue(false, Verify);
    else throw INVALID_ARGUMENT_EXCEPTION("Node '%s': '%s' is not a boolean", m_name, ValueStr);
}

bool BooleanNode::IsValueCacheValid() const {
    NodeMap::Entry entry(m_map);
    return ValueCachesValid(this);
}

void BooleanNode::SetValue(bool Value, bool) {
    NodeMap::Entry entry(m_map);
    CheckWritable();
    WriteBool(Value);
}

bool BooleanNode::GetValue(bool, bool IgnoreCache) const {
    NodeMap::Entry entry(m_map);
    CheckReadable();
    return const_cast<BooleanNode*>(this)->ReadBool(IgnoreCache);
}

} // namespace GenApi::detail
