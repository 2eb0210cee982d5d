// A node of a node map: one feature, register, port, category or helper of a description file.
#ifndef GENAPI_INODE_H
#define GENAPI_INODE_H

#include <Base/GCString.h>
#include <Base/GCStringVector.h>
#include <GenApi/IBase.h>

namespace GenApi {

class INodeMap;
class CNodeCallback;

class GENAPI_DECL INode : virtual public IBase {
public:
    virtual GenICam::gcstring GetName(bool FullQualified = false) const = 0;
    virtual ENameSpace GetNameSpace() const = 0;
    virtual EVisibility GetVisibility() const = 0;
    // Drops the cached value and access mode of this node and of everything depending on it.
    virtual void InvalidateNode() = 0;
    virtual bool IsCachable() const = 0;
    virtual EYesNo IsAccessModeCacheable() const = 0;
    virtual ECachingMode GetCachingMode() const = 0;
    // Milliseconds; -1 when the node is not polled.
    virtual int64_t GetPollingTime() const = 0;
    virtual GenICam::gcstring GetToolTip() const = 0;
    virtual GenICam::gcstring GetDescription() const = 0;
    virtual GenICam::gcstring GetDisplayName() const = 0;
    virtual GenICam::gcstring GetDeviceName() const = 0;
    virtual void GetChildren(NodeList_t& Children, ELinkType LinkType = ctReadingChildren) const = 0;
    virtual void GetParents(NodeList_t& Parents, ELinkType LinkType = ctReadingChildren) const = 0;
    // The node takes ownership of the callback; GenApi::Register is the usual way in.
    virtual CallbackHandleType RegisterCallback(CNodeCallback* pCallback) = 0;
    virtual bool DeregisterCallback(CallbackHandleType hCallback) = 0;
    virtual INodeMap* GetNodeMap() const = 0;
    // Hexadecimal text; empty for nodes that are not event nodes.
    virtual GenICam::gcstring GetEventID() const = 0;
    virtual bool IsStreamable() const = 0;
    virtual void GetPropertyNames(GenICam::gcstring_vector& PropertyNames) const = 0;
    virtual bool GetProperty(const GenICam::gcstring& PropertyName, GenICam::gcstring& ValueStr,
                             GenICam::gcstring& AttributeStr) = 0;
    virtual void ImposeAccessMode(EAccessMode ImposedAccessMode) = 0;
    virtual void ImposeVisibility(EVisibility ImposedVisibility) = 0;
    virtual INode* GetAlias() const = 0;
    virtual INode* GetCastAlias() const = 0;
    virtual GenICam::gcstring GetDocuURL() const = 0;
    virtual bool IsDeprecated() const = 0;
    virtual EInterfaceType GetPrincipalInterfaceType() const = 0;
    virtual bool IsFeature() const = 0;
};

} // namespace GenApi

#endif
