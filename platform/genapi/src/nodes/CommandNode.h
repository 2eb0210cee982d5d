// <Command>: Execute writes the command value; the command is done once the register no longer
// holds it.
#ifndef GENAPI_SRC_NODES_COMMANDNODE_H
#define GENAPI_SRC_NODES_COMMANDNODE_H

#include <GenApi/ICommand.h>

#include "nodes/ValueSource.h"

namespace GenApi::detail {

class CommandNode final : public Node, public virtual ICommand {
public:
    CommandNode(NodeMap& map, std::string name) : Node(map, std::move(name), "Command", ValueKind::Command) {}

    bool ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) override;
    void Link(NodeBuilder& builder) override;
    void CollectValueChildren(std::vector<Node*>& children) const override;
    void CollectWritingChildren(std::vector<Node*>& children) const override { m_source.CollectWriting(children); }
    EAccessMode OwnAccessMode() const override;

    // IValue
    INode* GetNode() override { return this; }
    GenICam::gcstring ToString(bool Verify = false, bool IgnoreCache = false) override;
    void FromString(const GenICam::gcstring& ValueStr, bool Verify = true) override;
    bool IsValueCacheValid() const override { return false; }

    // ICommand
    void Execute(bool Verify = true) override;
    void operator()() override { Execute(); }
    bool IsDone(bool Verify = true) override;
    EInterfaceType GetPrincipalInterfaceType() const override { return intfICommand; }

private:
    int64_t CommandValue();

    mutable ValueSource<int64_t> m_source;
    int64_t m_commandValue = 1;
    Node* m_commandValueNode = nullptr;
    bool m_executed = false;
};

} // namespace GenApi::detail

#endif
