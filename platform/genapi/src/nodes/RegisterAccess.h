// The register part of register nodes (IntReg, MaskedIntReg, FloatReg, StringReg, Register,
// StructEntry): address arithmetic, length, port, access mode and the byte cache.
#ifndef GENAPI_SRC_NODES_REGISTERACCESS_H
#define GENAPI_SRC_NODES_REGISTERACCESS_H

#include <list>
#include <memory>
#include <vector>

#include <Base/GCException.h>

#include <GenApi/IRegister.h>

#include "nodemap/NodeMap.h"
#include "nodes/Node.h"

namespace GenApi::detail {

class PortNode;

class RegisterAccess {
public:
    bool ParseProperty(Node* owner, std::string_view element, const pugi::xml_node& child, NodeBuilder& builder);
    void Link(Node* owner, NodeBuilder& builder);
    void CollectValueChildren(std::vector<Node*>& children) const;

    int64_t Address();
    int64_t Length();
    EAccessMode AccessMode() const;
    // Reads length bytes into data from the cache or the port; caches them when allowed.
    void Read(uint8_t* data, int64_t length, bool ignoreCache, ECachingMode caching);
    void Write(const uint8_t* data, int64_t length, ECachingMode caching);
    void ClearCache() { m_cacheValid = false; }
    bool CacheValid() const { return m_cacheValid; }
    int64_t StaticLength() const { return m_length; }

private:
    struct Index {
        Node* index = nullptr;
        int64_t offset = 0;
        Node* offsetNode = nullptr;
    };

    int64_t m_address = 0;
    std::vector<Node*> m_addressNodes;
    std::vector<Node*> m_addressKnives; // owned by the map's list of unnamed nodes
    // A list: references to its elements are kept while parsing, and an empty one costs nothing.
    std::list<Index> m_indexes;
    int64_t m_length = 0;
    bool m_hasLength = false;
    Node* m_lengthNode = nullptr;
    Node* m_port = nullptr;
    EAccessMode m_accessMode = RO;
    std::vector<uint8_t> m_cache;
    bool m_cacheValid = false;
};

// Adds the register part and IRegister to a node class.
template <class Base>
class RegisterMixin : public Base, public virtual IRegister {
public:
    using Base::Base;

    bool ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) override {
        return m_register.ParseProperty(this, element, child, builder) || Base::ParseProperty(element, child, builder);
    }
    void Link(NodeBuilder& builder) override {
        Base::Link(builder);
        m_register.Link(this, builder);
    }
    void CollectValueChildren(std::vector<Node*>& children) const override {
        Base::CollectValueChildren(children);
        m_register.CollectValueChildren(children);
    }
    bool HasOwnCache() const override { return true; }
    bool OwnCacheValid() const override { return m_register.CacheValid(); }
    bool OwnCacheAllowed() const override { return this->m_cachingMode != NoCache; }
    EAccessMode OwnAccessMode() const override { return m_register.AccessMode(); }
    void ClearCaches() override {
        Base::ClearCaches();
        m_register.ClearCache();
    }

    // IRegister
    void Set(const uint8_t* pBuffer, int64_t Length, bool Verify = true) override;
    void Get(uint8_t* pBuffer, int64_t Length, bool Verify = false, bool IgnoreCache = false) override;
    int64_t GetLength() override;
    int64_t GetAddress() override;

protected:
    void ReadRegister(uint8_t* data, int64_t length, bool ignoreCache) {
        m_register.Read(data, length, ignoreCache, this->m_cachingMode);
    }
    void WriteRegister(const uint8_t* data, int64_t length) {
        m_register.Write(data, length, this->m_cachingMode);
        this->ValueWritten();
    }
    bool RegisterCacheValid() const { return m_register.CacheValid(); }

    mutable RegisterAccess m_register;
};

template <class Base>
void RegisterMixin<Base>::Set(const uint8_t* pBuffer, int64_t Length, bool) {
    NodeMap::Entry entry(this->m_map);
    this->CheckWritable();
    const int64_t length = m_register.Length();
    if (pBuffer == nullptr || Length <= 0 || Length > length)
        throw OUT_OF_RANGE_EXCEPTION("Node '%s': cannot write %lld bytes to a register of %lld bytes", this->m_name,
                                     static_cast<long long>(Length), static_cast<long long>(length));
    WriteRegister(pBuffer, Length);
}

template <class Base>
void RegisterMixin<Base>::Get(uint8_t* pBuffer, int64_t Length, bool, bool IgnoreCache) {
    NodeMap::Entry entry(this->m_map);
    this->CheckReadable();
    const int64_t length = m_register.Length();
    if (pBuffer == nullptr || Length <= 0 || Length > length)
        throw OUT_OF_RANGE_EXCEPTION("Node '%s': cannot read %lld bytes from a register of %lld bytes", this->m_name,
                                     static_cast<long long>(Length), static_cast<long long>(length));
    if (Length == length) {
        ReadRegister(pBuffer, Length, IgnoreCache);
    } else {
        std::vector<uint8_t> whole(static_cast<size_t>(length));
        ReadRegister(whole.data(), length, IgnoreCache);
        std::copy(whole.begin(), whole.begin() + Length, pBuffer);
    }
}

template <class Base>
int64_t RegisterMixin<Base>::GetLength() {
    NodeMap::Entry entry(this->m_map);
    return m_register.Length();
}

template <class Base>
int64_t RegisterMixin<Base>::GetAddress() {
    NodeMap::Entry entry(this->m_map);
    return m_register.Address();
}

} // namespace GenApi::detail

#endif
