#ifndef GENAPI_INODEMAP_H
#define GENAPI_INODEMAP_H

#include <Base/GCString.h>
#include <GenApi/IPort.h>
#include <GenApi/Synch.h>
#include <GenApi/Types.h>

namespace GenApi {

class INode;

class GENAPI_DECL INodeMap {
public:
    virtual void GetNodes(NodeList_t& Nodes) const = 0;
    // Null when the map has no node of that name.
    virtual INode* GetNode(const GenICam::gcstring& Name) const = 0;
    virtual void InvalidateNodes() const = 0;
    // Connects the port node of that name to pPort; false when there is no such port node.
    virtual bool Connect(IPort* pPort, const GenICam::gcstring& PortName) const = 0;
    // Connects the port node named "Device".
    virtual bool Connect(IPort* pPort) const = 0;
    virtual GenICam::gcstring GetDeviceName() = 0;
    // Advances the polling clock by ElapsedTime milliseconds and invalidates the nodes whose
    // polling time has run out.
    virtual void Poll(int64_t ElapsedTime) = 0;
    virtual CLock& GetLock() const = 0;
    virtual uint64_t GetNumNodes() const = 0;
    // True when the text is a formula that the engine can compile.
    virtual bool ParseSwissKnife(const GenICam::gcstring& InputExpression) = 0;

protected:
    virtual ~INodeMap() = default;
};

} // namespace GenApi

#endif
