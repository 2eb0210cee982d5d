// Node callbacks: a function or member function that runs after a node's value or access
// mode may have changed (a write, an invalidation, a poll, a chunk or event delivery).
#ifndef GENAPI_NODECALLBACK_H
#define GENAPI_NODECALLBACK_H

#include <GenApi/INode.h>

namespace GenApi {

class GENAPI_DECL CNodeCallback {
public:
    CNodeCallback(INode* pNode, ECallbackType CallbackType) : m_pNode(pNode), m_CallbackType(CallbackType) {}
    virtual ~CNodeCallback() = default;
    // Runs the client's code if this callback is of the given type.
    virtual void operator()(ECallbackType CallbackType) const = 0;
    // Deletes the callback from the heap that allocated it.
    virtual void Destroy() = 0;
    INode* GetNode() const { return m_pNode; }
    ECallbackType GetCallbackType() const { return m_CallbackType; }

protected:
    INode* m_pNode;
    ECallbackType m_CallbackType;
};

template <class Function>
class Function_NodeCallback : public CNodeCallback {
public:
    Function_NodeCallback(INode* pNode, const Function& function, ECallbackType CallbackType)
        : CNodeCallback(pNode, CallbackType), m_function(function) {}
    void operator()(ECallbackType CallbackType) const override {
        if (CallbackType == m_CallbackType) m_function(m_pNode);
    }
    void Destroy() override { delete this; }

private:
    Function m_function;
};

template <class Client, class Member>
class Member_NodeCallback : public CNodeCallback {
public:
    Member_NodeCallback(INode* pNode, Client& client, Member member, ECallbackType CallbackType)
        : CNodeCallback(pNode, CallbackType), m_client(client), m_member(member) {}
    void operator()(ECallbackType CallbackType) const override {
        if (CallbackType == m_CallbackType) (m_client.*m_member)(m_pNode);
    }
    void Destroy() override { delete this; }

private:
    Client& m_client;
    Member m_member;
};

// Registers a free function (or any callable taking INode*) on a node.
template <class Function>
CallbackHandleType Register(INode* pNode, Function function, ECallbackType CallbackType = cbPostInsideLock) {
    if (pNode == nullptr) return 0;
    return pNode->RegisterCallback(new Function_NodeCallback<Function>(pNode, function, CallbackType));
}

// Registers a member function of a client object on a node.
template <class Client, class Member>
CallbackHandleType Register(INode* pNode, Client& client, Member member, ECallbackType CallbackType = cbPostInsideLock) {
    if (pNode == nullptr) return 0;
    return pNode->RegisterCallback(new Member_NodeCallback<Client, Member>(pNode, client, member, CallbackType));
}

// Finds the node a handle was registered on and removes the callback there; false for a
// handle that is not (or no longer) registered, so a stale handle is harmless.
GENAPI_DECL bool DeregisterCallbackHandle(CallbackHandleType hCallback);

// Removes and destroys a callback; false for a handle that is not registered.
inline bool Deregister(CallbackHandleType hCallback) { return DeregisterCallbackHandle(hCallback); }

} // namespace GenApi

#endif
