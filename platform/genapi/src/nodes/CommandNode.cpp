#include "nodes/CommandNode.h"

#include "nodemap/NodeMap.h"

namespace GenApi::detail {

namespace {
bool AcceptInteger(const Node* node) { return IsIntegerKind(node->Kind()); }
} // namespace

bool CommandNode::ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) {
    if (m_source.Parse(this, element, child, builder)) return true;
    if (element == "CommandValue") m_commandValue = builder.Integer(this, child);
    else if (element == "pCommandValue") builder.Reference(this, &m_commandValueNode, child);
    else return Node::ParseProperty(element, child, builder);
    return true;
}

void CommandNode::Link(NodeBuilder& builder) {
    Node::Link(builder);
    m_source.Link(this, builder, AcceptInteger, "an integer");
    builder.Require(this, m_commandValueNode, "pCommandValue", AcceptInteger, "an integer");
}

void CommandNode::CollectValueChildren(std::vector<Node*>& children) const {
    m_source.Collect(children);
    if (m_commandValueNode != nullptr) children.push_back(m_commandValueNode);
}

EAccessMode CommandNode::OwnAccessMode() const {
    // A command is executed, not read: a read-write register makes a write-only command
    // that can still report whether it is done.
    const EAccessMode mode = m_source.AccessMode();
    return mode == RO ? NA : (mode == RW ? WO : mode);
}

int64_t CommandNode::CommandValue() {
    return m_commandValueNode != nullptr ? m_commandValueNode->ReadInt(false) : m_commandValue;
}

GenICam::gcstring CommandNode::ToString(bool, bool) {
    throw LOGICAL_ERROR_EXCEPTION("Node '%s' is a command and has no value to convert to text", m_name);
}

void CommandNode::FromString(const GenICam::gcstring& ValueStr, bool Verify) {
    const std::string text(ValueStr.str());
    if (text == "1" || text == "true" || text == "Execute") Execute(Verify);
    else throw INVALID_ARGUMENT_EXCEPTION("Node '%s': '%s' does not execute a command", m_name, ValueStr);
}

void CommandNode::Execute(bool) {
    NodeMap::Entry entry(m_map);
    CheckWritable();
    m_source.Write(CommandValue());
    m_executed = true;
    ValueWritten();
}

bool CommandNode::IsDone(bool) {
    NodeMap::Entry entry(m_map);
    if (!m_executed) return true;
    const EAccessMode mode = m_source.AccessMode();
    if (!GenApi::IsReadable(mode)) return true;
    // The device clears the register itself, so the cache cannot tell.
    const bool done = m_source.Read(true) != CommandValue();
    if (done) {
        m_executed = false;
        m_map.Invalidate(this, true);
    }
    return done;
}

} // namespace GenApi::detail
