// A node map: owns its nodes, finds them by name, holds the one lock that serialises every
// access, and runs invalidation waves and callbacks.
#ifndef GENAPI_SRC_NODEMAP_NODEMAP_H
#define GENAPI_SRC_NODEMAP_NODEMAP_H

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <GenApi/IDestroy.h>
#include <GenApi/INodeMap.h>
#include <GenApi/NodeCallback.h>

namespace GenApi::detail {

class Node;
class PortNode;

class NodeMap final : public INodeMap, public IDestroy {
public:
    explicit NodeMap(std::string deviceName);
    ~NodeMap() override;
    NodeMap(const NodeMap&) = delete;
    NodeMap& operator=(const NodeMap&) = delete;

    // ---- INodeMap ----
    void GetNodes(NodeList_t& Nodes) const override;
    INode* GetNode(const GenICam::gcstring& Name) const override;
    void InvalidateNodes() const override;
    bool Connect(IPort* pPort, const GenICam::gcstring& PortName) const override;
    bool Connect(IPort* pPort) const override;
    GenICam::gcstring GetDeviceName() override { return m_deviceName; }
    void Poll(int64_t ElapsedTime) override;
    CLock& GetLock() const override { return m_lock; }
    uint64_t GetNumNodes() const override { return m_nodes.size(); }
    bool ParseSwissKnife(const GenICam::gcstring& InputExpression) override;

    // ---- IDestroy ----
    void Destroy() override { delete this; }

    // ---- inside the engine ----
    Node* Find(std::string_view name) const;
    // Takes ownership; false when the name is taken.
    bool Add(std::unique_ptr<Node> node);
    // Unnamed helper nodes (inline formulas of registers): owned, never found by name.
    void AddHidden(std::unique_ptr<Node> node) { m_hidden.push_back(std::move(node)); }
    const std::vector<std::unique_ptr<Node>>& Nodes() const { return m_nodes; }
    const std::string& DeviceName() const { return m_deviceName; }
    void AddPolled(Node* node) { m_polled.push_back(node); }
    std::vector<PortNode*> Ports() const;

    // Clears the caches of start's dependents (and of start itself when asked), transitively,
    // and queues their callbacks for the end of the current entry.
    void Invalidate(Node* start, bool includeStart);
    void QueueCallback(Node* node);
    // Callbacks deregistered while callbacks run are destroyed when the entry ends.
    void Retire(CNodeCallback* callback) { m_retired.push_back(callback); }
    bool FiringCallbacks() const { return m_firing; }

    // Every public operation holds one of these: it takes the lock and, when the outermost
    // entry ends, runs the queued callbacks (inside-lock ones first, then outside-lock ones
    // after the lock is released). An exception thrown by a callback leaves the entry after
    // all callbacks ran, unless another exception is already on its way.
    class Entry {
    public:
        explicit Entry(const NodeMap& map);
        ~Entry() noexcept(false);
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

    private:
        NodeMap& m_map;
        int m_uncaught;
    };

private:
    void RunCallbacks(std::vector<Node*>& nodes, ECallbackType type, std::exception_ptr& failure);

    std::string m_deviceName;
    std::vector<std::unique_ptr<Node>> m_nodes;
    std::unordered_map<std::string_view, Node*> m_index;
    std::vector<std::unique_ptr<Node>> m_hidden;
    std::vector<Node*> m_polled;
    mutable CLock m_lock;
    int m_depth = 0;
    uint32_t m_stamp = 0;
    std::vector<Node*> m_pending;
    std::vector<CNodeCallback*> m_retired;
    bool m_firing = false;
    int m_outsideRunning = 0; // entries running outside-lock callbacks
    std::vector<Node*> m_work;
};

} // namespace GenApi::detail

#endif
