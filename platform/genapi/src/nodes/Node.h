// The base of every node kind: the properties all nodes share, access modes, the place of the
// node in the dependency graph, and callbacks.
#ifndef GENAPI_SRC_NODES_NODE_H
#define GENAPI_SRC_NODES_NODE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <GenApi/INode.h>
#include <GenApi/ISelector.h>
#include <GenApi/NodeCallback.h>

namespace pugi {
class xml_node;
}

namespace GenApi::detail {

class NodeMap;
class NodeBuilder;

// What a node yields when another node reads it; checked when references are resolved.
enum class ValueKind : uint8_t { None, Integer, Float, Boolean, String, Register, Command, Enumeration, EnumEntry, Category, Port };

inline bool IsIntegerKind(ValueKind kind) {
    return kind == ValueKind::Integer || kind == ValueKind::Enumeration || kind == ValueKind::Boolean;
}
inline bool IsNumericKind(ValueKind kind) { return IsIntegerKind(kind) || kind == ValueKind::Float; }

class Node : public virtual INode, public virtual ISelector {
public:
    Node(NodeMap& map, std::string name, const char* elementName, ValueKind kind);
    ~Node() override;
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    // ---- building --------------------------------------------------------------------------
    // Handles one child element of the node's description; false for an element it does not know.
    virtual bool ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder);
    // Runs after every name is resolved: type checks of references, formula compilation.
    virtual void Link(NodeBuilder& builder);
    // Nodes whose values this node reads to compute its own value, address or range.
    virtual void CollectValueChildren(std::vector<Node*>& children) const;
    // Nodes whose values decide this node's access mode (pIsImplemented, pIsAvailable, pIsLocked).
    void CollectAccessChildren(std::vector<Node*>& children) const;
    // Nodes written when this node is written.
    virtual void CollectWritingChildren(std::vector<Node*>& children) const;
    // Register-level caching of this node's own data, if it has any.
    virtual bool HasOwnCache() const { return false; }
    virtual bool OwnCacheAllowed() const { return true; }
    virtual bool OwnCacheValid() const { return true; }

    const std::string& Name() const { return m_name; }
    const char* ElementName() const { return m_elementName; }
    ValueKind Kind() const { return m_kind; }
    NodeMap& Map() const { return m_map; }
    void SetNameSpace(ENameSpace nameSpace) { m_nameSpace = nameSpace; }

    // ---- values inside the engine: no lock, no access check -------------------------------
    virtual int64_t ReadInt(bool ignoreCache);
    virtual void WriteInt(int64_t value);
    virtual double ReadFloat(bool ignoreCache);
    virtual void WriteFloat(double value);
    virtual int64_t ReadIntMin();
    virtual int64_t ReadIntMax();
    virtual int64_t ReadIntInc();
    virtual double ReadFloatMin();
    virtual double ReadFloatMax();

    // The access mode of the node's own source (value, register, port) before availability,
    // locking and imposed modes are applied.
    virtual EAccessMode OwnAccessMode() const { return RW; }
    EAccessMode AccessMode() const;

    // Drops cached data and the cached access mode; no callbacks.
    virtual void ClearCaches();
    // Called by the map after an invalidation wave or a write; runs this node's callbacks.
    void FireCallbacks(ECallbackType type);
    bool HasCallbacks() const { return m_callbackCount > 0; }
    std::vector<CNodeCallback*> CallbacksOfType(ECallbackType type) const;
    bool HasCallback(const CNodeCallback* callback) const;

    // ---- INode ------------------------------------------------------------------------------
    EAccessMode GetAccessMode() const override;
    GenICam::gcstring GetName(bool FullQualified = false) const override;
    ENameSpace GetNameSpace() const override { return m_nameSpace; }
    EVisibility GetVisibility() const override;
    void InvalidateNode() override;
    bool IsCachable() const override;
    EYesNo IsAccessModeCacheable() const override;
    ECachingMode GetCachingMode() const override { return m_cachingMode; }
    int64_t GetPollingTime() const override { return m_pollingTime; }
    GenICam::gcstring GetToolTip() const override { return m_toolTip; }
    GenICam::gcstring GetDescription() const override;
    GenICam::gcstring GetDisplayName() const override;
    GenICam::gcstring GetDeviceName() const override;
    void GetChildren(NodeList_t& Children, ELinkType LinkType = ctReadingChildren) const override;
    void GetParents(NodeList_t& Parents, ELinkType LinkType = ctReadingChildren) const override;
    CallbackHandleType RegisterCallback(CNodeCallback* pCallback) override;
    bool DeregisterCallback(CallbackHandleType hCallback) override;
    INodeMap* GetNodeMap() const override;
    GenICam::gcstring GetEventID() const override { return m_eventId; }
    bool IsStreamable() const override { return m_streamable; }
    void GetPropertyNames(GenICam::gcstring_vector& PropertyNames) const override;
    bool GetProperty(const GenICam::gcstring& PropertyName, GenICam::gcstring& ValueStr,
                     GenICam::gcstring& AttributeStr) override;
    void ImposeAccessMode(EAccessMode ImposedAccessMode) override;
    void ImposeVisibility(EVisibility ImposedVisibility) override;
    INode* GetAlias() const override { return m_alias; }
    INode* GetCastAlias() const override { return m_castAlias; }
    GenICam::gcstring GetDocuURL() const override { return m_docuUrl; }
    bool IsDeprecated() const override { return m_deprecated; }
    bool IsFeature() const override;

    // ---- ISelector ---------------------------------------------------------------------------
    bool IsSelector() const override { return !m_selected.empty(); }
    void GetSelectedFeatures(FeatureList_t& Features) const override;
    void GetSelectingFeatures(FeatureList_t& Features) const override;

    // ---- graph, maintained by the builder and the map -----------------------------------------
    std::vector<Node*> m_dependents;   // invalidated when this node changes
    std::vector<Node*> m_parents;      // nodes that read this one
    std::vector<Node*> m_invalidators; // pInvalidator
    std::vector<Node*> m_selected;     // pSelected
    std::vector<Node*> m_selecting;    // reverse of pSelected
    uint32_t m_stamp = 0;
    bool m_queued = false;
    bool m_isFeature = false;
    bool m_accessCacheable = true;
    int64_t m_pollingElapsed = 0;

protected:
    // Throws AccessException unless the node is readable / writable.
    void CheckReadable() const;
    void CheckWritable() const;
    // After this node's value was written: invalidates what depends on it and queues callbacks.
    void ValueWritten();
    std::string Describe() const { return "Node '" + m_name + "'"; }

    NodeMap& m_map;
    std::string m_name;
    const char* m_elementName;
    ValueKind m_kind;
    ENameSpace m_nameSpace = Custom;
    EVisibility m_visibility = Beginner;
    EVisibility m_imposedVisibility = _UndefinedVisibility;
    ECachingMode m_cachingMode = WriteThrough;
    int64_t m_pollingTime = -1;
    std::string m_toolTip;
    std::string m_description;
    std::string m_displayName;
    std::string m_eventId;
    std::string m_docuUrl;
    bool m_streamable = false;
    bool m_deprecated = false;
    EAccessMode m_imposedAccessMode = RW;
    EAccessMode m_runtimeImposedAccessMode = RW;
    Node* m_isImplemented = nullptr;
    Node* m_isAvailable = nullptr;
    Node* m_isLocked = nullptr;
    Node* m_error = nullptr;
    Node* m_alias = nullptr;
    Node* m_castAlias = nullptr;
    Node* m_blockPolling = nullptr;

private:
    mutable EAccessMode m_cachedAccessMode = _UndefinedAccesMode;
    std::vector<CNodeCallback*> m_callbacks;
    size_t m_callbackCount = 0;
};

} // namespace GenApi::detail

#endif
