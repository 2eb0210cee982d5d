#include "nodes/RegisterAccess.h"

#include <cstring>

#include <Base/GCException.h>

#include "nodemap/NodeMap.h"
#include "nodes/PortNode.h"
#include "xml/NodeBuilder.h"

namespace GenApi::detail {

namespace {
// Registers longer than this are not something a description file can mean.
constexpr int64_t kMaximumRegisterLength = 64 * 1024 * 1024;

bool AcceptInteger(const Node* node) { return IsIntegerKind(node->Kind()); }
bool AcceptPort(const Node* node) { return node->Kind() == ValueKind::Port; }
} // namespace

bool RegisterAccess::ParseProperty(Node* owner, std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) {
    if (element == "Address") {
        m_address += builder.Integer(owner, child);
    } else if (element == "pAddress") {
        builder.ReferenceList(owner, m_addressNodes, child);
    } else if (element == "IntSwissKnife") {
        // An unnamed formula that adds to the address.
        Node* knife = builder.CreateNode(child, owner->Name() + "/IntSwissKnife" + std::to_string(m_addressKnives.size()), false);
        m_addressKnives.push_back(knife);
    } else if (element == "pIndex") {
        Index& added = m_indexes.emplace_back();
        builder.ReferenceText(owner, &added.index, NodeBuilder::Text(child), "pIndex");
        if (pugi::xml_attribute offset = child.attribute("Offset"))
            added.offset = builder.IntegerText(owner, offset.value(), "Offset");
        if (pugi::xml_attribute offset = child.attribute("pOffset"))
            builder.ReferenceText(owner, &added.offsetNode, offset.value(), "pOffset");
        if (!child.attribute("Offset") && !child.attribute("pOffset")) added.offset = 1;
    } else if (element == "Length") {
        m_length = builder.Integer(owner, child);
        m_hasLength = true;
        if (m_length <= 0 || m_length > kMaximumRegisterLength)
            builder.Fail(owner, "Length " + std::to_string(m_length) + " is out of range");
    } else if (element == "pLength") {
        builder.Reference(owner, &m_lengthNode, child);
        m_hasLength = true;
    } else if (element == "AccessMode") {
        m_accessMode = builder.AccessMode(owner, child);
    } else if (element == "pPort") {
        builder.Reference(owner, &m_port, child);
    } else {
        return false;
    }
    return true;
}

void RegisterAccess::Link(Node* owner, NodeBuilder& builder) {
    if (m_port == nullptr) {
        // Some files leave the port out when there is only the device's.
        m_port = builder.Map().Find("Device");
        if (m_port == nullptr) builder.Fail(owner, "register has no <pPort> and there is no port 'Device'");
    }
    builder.Require(owner, m_port, "pPort", AcceptPort, "a port");
    if (!m_hasLength) builder.Fail(owner, "register has no <Length>");
    builder.Require(owner, m_lengthNode, "pLength", AcceptInteger, "an integer");
    for (Node* node : m_addressNodes) builder.Require(owner, node, "pAddress", AcceptInteger, "an integer");
    for (const Index& index : m_indexes) {
        builder.Require(owner, index.index, "pIndex", AcceptInteger, "an integer");
        builder.Require(owner, index.offsetNode, "pOffset", AcceptInteger, "an integer");
    }
}

void RegisterAccess::CollectValueChildren(std::vector<Node*>& children) const {
    children.insert(children.end(), m_addressNodes.begin(), m_addressNodes.end());
    for (Node* knife : m_addressKnives) knife->CollectValueChildren(children);
    for (const Index& index : m_indexes) {
        children.push_back(index.index);
        if (index.offsetNode != nullptr) children.push_back(index.offsetNode);
    }
    if (m_lengthNode != nullptr) children.push_back(m_lengthNode);
    children.push_back(m_port);
}

int64_t RegisterAccess::Address() {
    uint64_t address = static_cast<uint64_t>(m_address);
    for (Node* node : m_addressNodes) address += static_cast<uint64_t>(node->ReadInt(false));
    for (Node* knife : m_addressKnives) address += static_cast<uint64_t>(knife->ReadInt(false));
    for (const Index& index : m_indexes) {
        const int64_t offset = index.offsetNode != nullptr ? index.offsetNode->ReadInt(false) : index.offset;
        address += static_cast<uint64_t>(index.index->ReadInt(false)) * static_cast<uint64_t>(offset);
    }
    return static_cast<int64_t>(address);
}

int64_t RegisterAccess::Length() {
    if (m_lengthNode == nullptr) return m_length;
    const int64_t length = m_lengthNode->ReadInt(false);
    if (length <= 0 || length > kMaximumRegisterLength)
        throw OUT_OF_RANGE_EXCEPTION("Register length %lld read from '%s' is out of range", static_cast<long long>(length),
                                     m_lengthNode->Name());
    return length;
}

EAccessMode RegisterAccess::AccessMode() const {
    // The port's own access mode without availability rules of the port node itself.
    return Combine(m_accessMode, m_port->AccessMode());
}

void RegisterAccess::Read(uint8_t* data, int64_t length, bool ignoreCache, ECachingMode caching) {
    if (!ignoreCache && m_cacheValid && static_cast<int64_t>(m_cache.size()) == length) {
        std::memcpy(data, m_cache.data(), static_cast<size_t>(length));
        return;
    }
    static_cast<PortNode*>(m_port)->ReadBytes(data, Address(), length);
    if (caching != NoCache) {
        m_cache.assign(data, data + length);
        m_cacheValid = true;
    }
}

void RegisterAccess::Write(const uint8_t* data, int64_t length, ECachingMode caching) {
    m_cacheValid = false;
    static_cast<PortNode*>(m_port)->WriteBytes(data, Address(), length);
    if (caching == WriteThrough) {
        m_cache.assign(data, data + length);
        m_cacheValid = true;
    }
}

} // namespace GenApi::detail
