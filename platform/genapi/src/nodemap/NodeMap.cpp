#include "nodemap/NodeMap.h"

#include <algorithm>
#include <exception>

#include <Base/GCException.h>

#include "formula/Formula.h"
#include "nodes/Node.h"
#include "nodes/PortNode.h"

namespace GenApi::detail {

NodeMap::NodeMap(std::string deviceName) : m_deviceName(std::move(deviceName)) {}

NodeMap::~NodeMap() {
    for (CNodeCallback* callback : m_retired) callback->Destroy();
}

void NodeMap::GetNodes(NodeList_t& Nodes) const {
    Nodes.clear();
    Nodes.reserve(m_nodes.size());
    for (const auto& node : m_nodes) Nodes.push_back(node.get());
}

INode* NodeMap::GetNode(const GenICam::gcstring& Name) const { return Find(Name.str()); }

Node* NodeMap::Find(std::string_view name) const {
    const auto found = m_index.find(name);
    return found == m_index.end() ? nullptr : found->second;
}

bool NodeMap::Add(std::unique_ptr<Node> node) {
    const std::string_view name = node->Name();
    if (m_index.count(name) != 0) return false;
    m_index.emplace(name, node.get());
    m_nodes.push_back(std::move(node));
    return true;
}

std::vector<PortNode*> NodeMap::Ports() const {
    std::vector<PortNode*> ports;
    for (const auto& node : m_nodes)
        if (node->Kind() == ValueKind::Port) ports.push_back(static_cast<PortNode*>(node.get()));
    return ports;
}

void NodeMap::InvalidateNodes() const {
    Entry entry(*this);
    NodeMap& self = const_cast<NodeMap&>(*this);
    for (const auto& node : m_nodes) {
        node->ClearCaches();
        self.QueueCallback(node.get());
    }
}

bool NodeMap::Connect(IPort* pPort, const GenICam::gcstring& PortName) const {
    Entry entry(*this);
    Node* node = Find(PortName.str());
    if (node == nullptr || node->Kind() != ValueKind::Port) return false;
    static_cast<PortNode*>(node)->SetPort(pPort);
    // Everything read through the port may now read differently.
    for (const auto& each : m_nodes) each->ClearCaches();
    return true;
}

bool NodeMap::Connect(IPort* pPort) const { return Connect(pPort, "Device"); }

void NodeMap::Poll(int64_t ElapsedTime) {
    Entry entry(*this);
    for (Node* node : m_polled) {
        // Saturating: a caller may pass any elapsed time.
        if (ElapsedTime > 0) node->m_pollingElapsed = ElapsedTime > INT64_MAX - node->m_pollingElapsed ? INT64_MAX : node->m_pollingElapsed + ElapsedTime;
        if (node->m_pollingElapsed >= node->GetPollingTime()) {
            node->m_pollingElapsed = 0;
            Invalidate(node, true);
        }
    }
}

namespace {
class NoSymbols : public FormulaSymbols {
public:
    FormulaSymbol Resolve(std::string_view) const override { return {}; }
};
} // namespace

bool NodeMap::ParseSwissKnife(const GenICam::gcstring& InputExpression) {
    try {
        Formula::Compile(InputExpression.str(), NoSymbols(), Formula::Mode::Float, "SwissKnife");
        return true;
    } catch (const GenICam::GenericException&) {
        return false;
    }
}

void NodeMap::Invalidate(Node* start, bool includeStart) {
    if (++m_stamp == 0) {
        for (const auto& node : m_nodes) node->m_stamp = 0;
        m_stamp = 1;
    }
    std::vector<Node*> work;
    work.swap(m_work);
    work.clear();
    start->m_stamp = m_stamp;
    if (includeStart) {
        start->ClearCaches();
        QueueCallback(start);
    }
    work.insert(work.end(), start->m_dependents.begin(), start->m_dependents.end());
    while (!work.empty()) {
        Node* node = work.back();
        work.pop_back();
        if (node->m_stamp == m_stamp) continue;
        node->m_stamp = m_stamp;
        node->ClearCaches();
        QueueCallback(node);
        for (Node* dependent : node->m_dependents)
            if (dependent->m_stamp != m_stamp) work.push_back(dependent);
    }
    m_work.swap(work);
}

void NodeMap::QueueCallback(Node* node) {
    if (!node->HasCallbacks() || node->m_queued) return;
    node->m_queued = true;
    m_pending.push_back(node);
}

void NodeMap::RunCallbacks(std::vector<Node*>& nodes, ECallbackType type, std::exception_ptr& failure) {
    m_firing = true;
    for (Node* node : nodes) {
        try {
            node->FireCallbacks(type);
        } catch (...) {
            if (!failure) failure = std::current_exception();
        }
    }
    m_firing = false;
}

NodeMap::Entry::Entry(const NodeMap& map) : m_map(const_cast<NodeMap&>(map)), m_uncaught(std::uncaught_exceptions()) {
    m_map.m_lock.Lock();
    ++m_map.m_depth;
}

NodeMap::Entry::~Entry() noexcept(false) {
    NodeMap& map = m_map;
    if (map.m_depth > 1 || (map.m_pending.empty() && map.m_retired.empty())) {
        --map.m_depth;
        map.m_lock.Unlock();
        return;
    }
    std::exception_ptr failure;
    std::vector<Node*> fired;
    // Callbacks may change other nodes, which queues more callbacks; a bounded number of
    // rounds keeps two callbacks that write each other's nodes from looping for ever.
    for (int round = 0; round < 16 && !map.m_pending.empty(); ++round) {
        std::vector<Node*> nodes;
        nodes.swap(map.m_pending);
        for (Node* node : nodes) node->m_queued = false;
        map.RunCallbacks(nodes, cbPostInsideLock, failure);
        fired.insert(fired.end(), nodes.begin(), nodes.end());
    }
    for (Node* node : map.m_pending) node->m_queued = false;
    map.m_pending.clear();
    std::sort(fired.begin(), fired.end());
    fired.erase(std::unique(fired.begin(), fired.end()), fired.end());
    std::vector<std::pair<Node*, CNodeCallback*>> outside;
    for (Node* node : fired)
        for (CNodeCallback* callback : node->CallbacksOfType(cbPostOutsideLock)) outside.emplace_back(node, callback);
    // Deregistered callbacks are destroyed only when no outside-lock callback may still be
    // about to run, on this thread or another.
    if (map.m_outsideRunning == 0) {
        for (CNodeCallback* callback : map.m_retired) callback->Destroy();
        map.m_retired.clear();
    }
    if (!outside.empty()) ++map.m_outsideRunning;
    --map.m_depth;
    map.m_lock.Unlock();
    if (outside.empty()) {
        if (failure && std::uncaught_exceptions() == m_uncaught) std::rethrow_exception(failure);
        return;
    }
    for (const auto& [node, callback] : outside) {
        map.m_lock.Lock();
        const bool registered = node->HasCallback(callback);
        map.m_lock.Unlock();
        if (!registered) continue;
        try {
            (*callback)(cbPostOutsideLock);
        } catch (...) {
            if (!failure) failure = std::current_exception();
        }
    }
    map.m_lock.Lock();
    if (--map.m_outsideRunning == 0 && map.m_depth == 0) {
        for (CNodeCallback* callback : map.m_retired) callback->Destroy();
        map.m_retired.clear();
    }
    map.m_lock.Unlock();
    if (failure && std::uncaught_exceptions() == m_uncaught) std::rethrow_exception(failure);
}

} // namespace GenApi::detail
