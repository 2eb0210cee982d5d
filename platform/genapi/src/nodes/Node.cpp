#include "nodes/Node.h"

#include <algorithm>
#include <mutex>
#include <unordered_map>

#include <Base/GCException.h>
#include <GenApi/EnumClasses.h>
#include <GenApi/IValue.h>

#include "formula/Formula.h"
#include "nodemap/NodeMap.h"
#include "xml/NodeBuilder.h"

namespace GenApi::detail {

namespace {
// Which node each live callback handle belongs to, so that GenApi::Deregister can refuse
// handles that were never issued or are already gone instead of following them.
std::mutex g_handlesMutex;
std::unordered_map<CallbackHandleType, Node*> g_handles;

void Remember(CallbackHandleType handle, Node* node) {
    std::lock_guard<std::mutex> lock(g_handlesMutex);
    g_handles[handle] = node;
}

void Forget(CallbackHandleType handle) {
    std::lock_guard<std::mutex> lock(g_handlesMutex);
    g_handles.erase(handle);
}
} // namespace

Node::Node(NodeMap& map, std::string name, const char* elementName, ValueKind kind)
    : m_map(map), m_name(std::move(name)), m_elementName(elementName), m_kind(kind) {}

Node::~Node() {
    for (CNodeCallback* callback : m_callbacks) {
        if (callback == nullptr) continue;
        Forget(reinterpret_cast<CallbackHandleType>(callback));
        callback->Destroy();
    }
}

bool Node::ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) {
    if (element == "ToolTip") {
        if (!builder.SuppressStrings()) m_toolTip = std::string(NodeBuilder::Text(child));
    } else if (element == "Description") {
        if (!builder.SuppressStrings()) m_description = std::string(NodeBuilder::Text(child));
    } else if (element == "DisplayName") {
        m_displayName = std::string(NodeBuilder::Text(child));
    } else if (element == "Visibility") {
        m_visibility = builder.Visibility(this, child);
    } else if (element == "EventID") {
        m_eventId = std::string(NodeBuilder::Text(child));
    } else if (element == "pIsImplemented") {
        builder.Reference(this, &m_isImplemented, child);
    } else if (element == "pIsAvailable") {
        builder.Reference(this, &m_isAvailable, child);
    } else if (element == "pIsLocked") {
        builder.Reference(this, &m_isLocked, child);
    } else if (element == "pError") {
        builder.Reference(this, &m_error, child);
    } else if (element == "ImposedAccessMode") {
        m_imposedAccessMode = builder.AccessMode(this, child);
    } else if (element == "pAlias") {
        builder.Reference(this, &m_alias, child);
    } else if (element == "pCastAlias") {
        builder.Reference(this, &m_castAlias, child);
    } else if (element == "pInvalidator") {
        builder.ReferenceList(this, m_invalidators, child);
    } else if (element == "pSelected") {
        builder.ReferenceList(this, m_selected, child);
    } else if (element == "Streamable") {
        m_streamable = builder.YesNo(this, child);
    } else if (element == "DocuURL") {
        m_docuUrl = std::string(NodeBuilder::Text(child));
    } else if (element == "IsDeprecated") {
        m_deprecated = builder.YesNo(this, child);
    } else if (element == "pBlockPolling") {
        builder.Reference(this, &m_blockPolling, child);
    } else if (element == "Cachable") {
        m_cachingMode = builder.CachingMode(this, child);
    } else if (element == "PollingTime") {
        m_pollingTime = builder.Integer(this, child);
    } else if (element == "Extension") {
        // Vendor extensions carry no meaning for the engine.
    } else {
        return false;
    }
    return true;
}

namespace {
bool AcceptNumeric(const Node* node) { return IsNumericKind(node->Kind()); }

bool Truth(Node* node) { return node->Kind() == ValueKind::Float ? node->ReadFloat(false) != 0.0 : node->ReadInt(false) != 0; }

// Whether a condition (pIsImplemented, pIsAvailable, pIsLocked) holds; absent gives what an
// absent condition means. A condition computed by a formula that does not compile can never
// say anything, so it counts as absent: files carry such conditions, and refusing the node
// for them would take away registers that work.
bool Holds(Node* condition, bool absent) {
    if (condition == nullptr) return absent;
    try {
        return Truth(condition);
    } catch (const FormulaFaultException&) {
        return absent;
    }
}
} // namespace

void Node::Link(NodeBuilder& builder) {
    builder.Require(this, m_isImplemented, "pIsImplemented", AcceptNumeric, "a number, boolean or enumeration");
    builder.Require(this, m_isAvailable, "pIsAvailable", AcceptNumeric, "a number, boolean or enumeration");
    builder.Require(this, m_isLocked, "pIsLocked", AcceptNumeric, "a number, boolean or enumeration");
    if (m_pollingTime > 0) m_map.AddPolled(this);
}

void Node::CollectValueChildren(std::vector<Node*>&) const {}

void Node::CollectAccessChildren(std::vector<Node*>& children) const {
    for (Node* node : {m_isImplemented, m_isAvailable, m_isLocked})
        if (node != nullptr) children.push_back(node);
}
void Node::CollectWritingChildren(std::vector<Node*>&) const {}

int64_t Node::ReadInt(bool) {
    throw LOGICAL_ERROR_EXCEPTION("%s (%s) has no integer value", Describe(), m_elementName);
}
void Node::WriteInt(int64_t) {
    throw LOGICAL_ERROR_EXCEPTION("%s (%s) has no integer value", Describe(), m_elementName);
}
double Node::ReadFloat(bool ignoreCache) { return static_cast<double>(ReadInt(ignoreCache)); }
void Node::WriteFloat(double value) {
    if (!(value > -9.2e18 && value < 9.2e18))
        throw OUT_OF_RANGE_EXCEPTION("%s: value %g does not fit an integer", Describe(), value);
    WriteInt(static_cast<int64_t>(value < 0 ? value - 0.5 : value + 0.5));
}
int64_t Node::ReadIntMin() { return INT64_MIN; }
int64_t Node::ReadIntMax() { return INT64_MAX; }
int64_t Node::ReadIntInc() { return 1; }
double Node::ReadFloatMin() { return static_cast<double>(ReadIntMin()); }
double Node::ReadFloatMax() { return static_cast<double>(ReadIntMax()); }

EAccessMode Node::AccessMode() const {
    if (m_cachedAccessMode != _UndefinedAccesMode) return m_cachedAccessMode;
    EAccessMode mode = RW;
    bool cacheable = m_accessCacheable;
    try {
        if (!Holds(m_isImplemented, true)) {
            mode = NI;
        } else if (!Holds(m_isAvailable, true)) {
            mode = NA;
        } else {
            mode = OwnAccessMode();
            if ((mode == RW || mode == WO) && Holds(m_isLocked, false))
                mode = mode == RW ? RO : NA;
            mode = Combine(mode, m_imposedAccessMode);
            mode = Combine(mode, m_runtimeImposedAccessMode);
        }
    } catch (const GenICam::GenericException&) {
        // What decides availability cannot be read (for example an unconnected port): the
        // node is not available until that changes.
        mode = NA;
        cacheable = false;
    }
    if (cacheable) m_cachedAccessMode = mode;
    return mode;
}

void Node::ClearCaches() { m_cachedAccessMode = _UndefinedAccesMode; }

void Node::CheckReadable() const {
    const EAccessMode mode = AccessMode();
    if (!GenApi::IsReadable(mode))
        throw ACCESS_EXCEPTION("Node '%s' is not readable (access mode %s)", m_name, EAccessModeClass::ToString(mode));
}

void Node::CheckWritable() const {
    const EAccessMode mode = AccessMode();
    if (!GenApi::IsWritable(mode))
        throw ACCESS_EXCEPTION("Node '%s' is not writable (access mode %s)", m_name, EAccessModeClass::ToString(mode));
}

void Node::ValueWritten() {
    // The written node's callbacks run before those of the nodes that depend on it.
    m_map.QueueCallback(this);
    m_map.Invalidate(this, false);
}

EAccessMode Node::GetAccessMode() const {
    NodeMap::Entry entry(m_map);
    return AccessMode();
}

GenICam::gcstring Node::GetName(bool FullQualified) const {
    if (!FullQualified) return m_name;
    return (m_nameSpace == Standard ? "Std::" : "Cust::") + m_name;
}

EVisibility Node::GetVisibility() const {
    if (m_imposedVisibility != _UndefinedVisibility && m_imposedVisibility > m_visibility) return m_imposedVisibility;
    return m_visibility;
}

void Node::InvalidateNode() {
    NodeMap::Entry entry(m_map);
    m_map.Invalidate(this, true);
}

bool Node::IsCachable() const { return m_cachingMode != NoCache && m_accessCacheable; }

EYesNo Node::IsAccessModeCacheable() const { return m_accessCacheable ? Yes : No; }

GenICam::gcstring Node::GetDescription() const { return m_description; }

GenICam::gcstring Node::GetDisplayName() const { return m_displayName.empty() ? m_name : m_displayName; }

GenICam::gcstring Node::GetDeviceName() const { return m_map.DeviceName(); }

void Node::GetChildren(NodeList_t& Children, ELinkType LinkType) const {
    Children.clear();
    std::vector<Node*> nodes;
    switch (LinkType) {
    case ctReadingChildren:
    case ctValueChildren:
        CollectValueChildren(nodes);
        if (LinkType == ctReadingChildren) {
            for (Node* node : {m_isImplemented, m_isAvailable, m_isLocked})
                if (node != nullptr) nodes.push_back(node);
        }
        break;
    case ctWritingChildren:
        CollectWritingChildren(nodes);
        break;
    case ctInvalidatingChildren:
        nodes = m_invalidators;
        break;
    case ctDependingNodes:
        nodes = m_dependents;
        break;
    case ctParentNodes:
        nodes = m_parents;
        break;
    case ctTerminalNodes: {
        std::vector<const Node*> stack{this};
        std::vector<const Node*> seen;
        while (!stack.empty()) {
            const Node* node = stack.back();
            stack.pop_back();
            if (std::find(seen.begin(), seen.end(), node) != seen.end()) continue;
            seen.push_back(node);
            if (node->HasOwnCache()) {
                nodes.push_back(const_cast<Node*>(node));
                continue;
            }
            std::vector<Node*> children;
            node->CollectValueChildren(children);
            stack.insert(stack.end(), children.begin(), children.end());
        }
        break;
    }
    }
    for (Node* node : nodes)
        if (std::find(Children.begin(), Children.end(), node) == Children.end()) Children.push_back(node);
}

void Node::GetParents(NodeList_t& Parents, ELinkType) const {
    Parents.assign(m_parents.begin(), m_parents.end());
}

CallbackHandleType Node::RegisterCallback(CNodeCallback* pCallback) {
    if (pCallback == nullptr) throw INVALID_ARGUMENT_EXCEPTION("%s: null callback", Describe());
    NodeMap::Entry entry(m_map);
    m_callbacks.push_back(pCallback);
    ++m_callbackCount;
    const CallbackHandleType handle = reinterpret_cast<CallbackHandleType>(pCallback);
    Remember(handle, this);
    return handle;
}

bool Node::DeregisterCallback(CallbackHandleType hCallback) {
    NodeMap::Entry entry(m_map);
    auto found = std::find(m_callbacks.begin(), m_callbacks.end(), reinterpret_cast<CNodeCallback*>(hCallback));
    if (found == m_callbacks.end() || *found == nullptr) return false;
    // Destroyed when the outermost entry ends, so that a callback running now stays valid.
    Forget(hCallback);
    m_map.Retire(*found);
    *found = nullptr;
    --m_callbackCount;
    if (!m_map.FiringCallbacks()) m_callbacks.erase(std::remove(m_callbacks.begin(), m_callbacks.end(), nullptr), m_callbacks.end());
    return true;
}

void Node::FireCallbacks(ECallbackType type) {
    // By index: a callback may register or deregister callbacks of this node.
    for (size_t index = 0; index < m_callbacks.size(); ++index) {
        CNodeCallback* callback = m_callbacks[index];
        if (callback != nullptr) (*callback)(type);
    }
}

std::vector<CNodeCallback*> Node::CallbacksOfType(ECallbackType type) const {
    std::vector<CNodeCallback*> result;
    for (CNodeCallback* callback : m_callbacks)
        if (callback != nullptr && callback->GetCallbackType() == type) result.push_back(callback);
    return result;
}

bool Node::HasCallback(const CNodeCallback* callback) const {
    return callback != nullptr && std::find(m_callbacks.begin(), m_callbacks.end(), callback) != m_callbacks.end();
}

INodeMap* Node::GetNodeMap() const { return &m_map; }

void Node::GetPropertyNames(GenICam::gcstring_vector& PropertyNames) const {
    PropertyNames.clear();
    PropertyNames.push_back("Name");
    PropertyNames.push_back("NodeType");
    if (!m_displayName.empty()) PropertyNames.push_back("DisplayName");
    if (!m_toolTip.empty()) PropertyNames.push_back("ToolTip");
    if (!m_description.empty()) PropertyNames.push_back("Description");
    PropertyNames.push_back("Visibility");
    if (!m_eventId.empty()) PropertyNames.push_back("EventID");
}

bool Node::GetProperty(const GenICam::gcstring& PropertyName, GenICam::gcstring& ValueStr, GenICam::gcstring& AttributeStr) {
    AttributeStr.clear();
    if (PropertyName == "Name") ValueStr = m_name;
    else if (PropertyName == "NodeType") ValueStr = m_elementName;
    else if (PropertyName == "DisplayName") ValueStr = GetDisplayName();
    else if (PropertyName == "ToolTip") ValueStr = m_toolTip;
    else if (PropertyName == "Description") ValueStr = m_description;
    else if (PropertyName == "Visibility") ValueStr = EVisibilityClass::ToString(m_visibility);
    else if (PropertyName == "EventID") ValueStr = m_eventId;
    else return false;
    return true;
}

void Node::ImposeAccessMode(EAccessMode ImposedAccessMode) {
    NodeMap::Entry entry(m_map);
    m_runtimeImposedAccessMode = ImposedAccessMode;
    m_map.Invalidate(this, true);
}

void Node::ImposeVisibility(EVisibility ImposedVisibility) { m_imposedVisibility = ImposedVisibility; }

bool Node::IsFeature() const { return m_isFeature; }

void Node::GetSelectedFeatures(FeatureList_t& Features) const {
    Features.clear();
    for (Node* node : m_selected)
        if (IValue* value = dynamic_cast<IValue*>(static_cast<INode*>(node))) Features.push_back(value);
}

void Node::GetSelectingFeatures(FeatureList_t& Features) const {
    Features.clear();
    for (Node* node : m_selecting)
        if (IValue* value = dynamic_cast<IValue*>(static_cast<INode*>(node))) Features.push_back(value);
}

} // namespace GenApi::detail

namespace GenApi {

bool DeregisterCallbackHandle(CallbackHandleType hCallback) {
    detail::Node* node = nullptr;
    {
        std::lock_guard<std::mutex> lock(detail::g_handlesMutex);
        const auto found = detail::g_handles.find(hCallback);
        if (found == detail::g_handles.end()) return false;
        node = found->second;
    }
    return node->DeregisterCallback(hCallback);
}

} // namespace GenApi
