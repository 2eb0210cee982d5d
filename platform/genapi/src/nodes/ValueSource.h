// Where the value of an Integer, Float, Boolean, Command or Enumeration node lives: a literal
// <Value>, another node (<pValue>), or one of several chosen by a selector (<pIndex> with
// <ValueIndexed>/<pValueIndexed> and a default). Writes may be copied to <pValueCopy> nodes.
#ifndef GENAPI_SRC_NODES_VALUESOURCE_H
#define GENAPI_SRC_NODES_VALUESOURCE_H

#include <list>
#include <string>
#include <vector>

#include <pugixml.hpp>

#include <Base/GCException.h>

#include "nodes/Node.h"
#include "xml/NodeBuilder.h"

namespace GenApi::detail {

template <class T>
class ValueSource {
public:
    bool Parse(Node* owner, std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) {
        if (element == "Value") {
            m_value = ParseLiteral(owner, child, builder);
            m_hasValue = true;
        } else if (element == "pValue") {
            builder.Reference(owner, &m_pointer, child);
        } else if (element == "pValueCopy") {
            builder.ReferenceList(owner, m_copies, child);
        } else if (element == "pIndex") {
            builder.Reference(owner, &m_index, child);
        } else if (element == "ValueIndexed" || element == "pValueIndexed") {
            Indexed& entry = m_indexed.emplace_back();
            entry.index = builder.IntegerText(owner, child.attribute("Index").value(), "Index");
            if (element == "ValueIndexed") entry.value = ParseLiteral(owner, child, builder);
            else builder.Reference(owner, &entry.pointer, child);
        } else if (element == "ValueDefault") {
            m_default = ParseLiteral(owner, child, builder);
            m_hasDefault = true;
        } else if (element == "pValueDefault") {
            builder.Reference(owner, &m_defaultPointer, child);
            m_hasDefault = true;
        } else {
            return false;
        }
        return true;
    }

    void Link(Node* owner, NodeBuilder& builder, bool (*accept)(const Node*), const char* expected) {
        builder.Require(owner, m_pointer, "pValue", accept, expected);
        builder.Require(owner, m_defaultPointer, "pValueDefault", accept, expected);
        for (Node* copy : m_copies) builder.Require(owner, copy, "pValueCopy", accept, expected);
        for (const Indexed& entry : m_indexed) builder.Require(owner, entry.pointer, "pValueIndexed", accept, expected);
        builder.Require(owner, m_index, "pIndex", [](const Node* node) { return IsIntegerKind(node->Kind()); }, "an integer");
        if (m_index != nullptr && m_indexed.empty() && !m_hasDefault)
            builder.Fail(owner, "<pIndex> without any indexed value or default");
        if (!m_hasValue && m_pointer == nullptr && m_index == nullptr)
            builder.Fail(owner, "no <Value>, <pValue> or <pIndex>");
    }

    void Collect(std::vector<Node*>& children) const {
        if (m_pointer != nullptr) children.push_back(m_pointer);
        if (m_index != nullptr) children.push_back(m_index);
        for (const Indexed& entry : m_indexed)
            if (entry.pointer != nullptr) children.push_back(entry.pointer);
        if (m_defaultPointer != nullptr) children.push_back(m_defaultPointer);
    }

    void CollectWriting(std::vector<Node*>& children) const {
        if (m_pointer != nullptr) children.push_back(m_pointer);
        children.insert(children.end(), m_copies.begin(), m_copies.end());
    }

    // The node the value currently comes from, or null for a literal.
    Node* Current(T** literal) {
        *literal = nullptr;
        if (m_index == nullptr) {
            if (m_pointer != nullptr) return m_pointer;
            *literal = &m_value;
            return nullptr;
        }
        const int64_t index = m_index->ReadInt(false);
        for (Indexed& entry : m_indexed) {
            if (entry.index != index) continue;
            if (entry.pointer != nullptr) return entry.pointer;
            *literal = &entry.value;
            return nullptr;
        }
        if (m_defaultPointer != nullptr) return m_defaultPointer;
        if (!m_hasDefault) throw OUT_OF_RANGE_EXCEPTION("Node: no value for index %lld", static_cast<long long>(index));
        *literal = &m_default;
        return nullptr;
    }

    T Read(bool ignoreCache) {
        T* literal = nullptr;
        Node* node = Current(&literal);
        return node != nullptr ? ReadFrom(node, ignoreCache) : *literal;
    }

    void Write(T value) {
        T* literal = nullptr;
        Node* node = Current(&literal);
        if (node != nullptr) WriteTo(node, value);
        else *literal = value;
        for (Node* copy : m_copies) WriteTo(copy, value);
    }

    EAccessMode AccessMode() {
        if (m_pointer == nullptr && m_index == nullptr) return RW;
        try {
            T* literal = nullptr;
            Node* node = Current(&literal);
            return node != nullptr ? node->AccessMode() : RW;
        } catch (const GenICam::GenericException&) {
            return NA;
        }
    }

    // The node the value currently comes from (pValue, the node the index selects, or
    // pValueDefault), null for a literal: an owner without a range of its own has its range.
    Node* Selected() {
        T* literal = nullptr;
        return Current(&literal);
    }

private:
    struct Indexed {
        int64_t index = 0;
        T value{};
        Node* pointer = nullptr;
    };

    static T ParseLiteral(Node* owner, const pugi::xml_node& child, NodeBuilder& builder) {
        if constexpr (std::is_same_v<T, double>) return builder.Float(owner, child);
        else return builder.Integer(owner, child);
    }
    static T ReadFrom(Node* node, bool ignoreCache) {
        if constexpr (std::is_same_v<T, double>) return node->ReadFloat(ignoreCache);
        else return node->ReadInt(ignoreCache);
    }
    static void WriteTo(Node* node, T value) {
        if constexpr (std::is_same_v<T, double>) node->WriteFloat(value);
        else node->WriteInt(value);
    }

    T m_value{};
    bool m_hasValue = false;
    Node* m_pointer = nullptr;
    std::vector<Node*> m_copies;
    Node* m_index = nullptr;
    // A list: references to its elements are kept while parsing, and an empty one costs nothing.
    std::list<Indexed> m_indexed;
    T m_default{};
    Node* m_defaultPointer = nullptr;
    bool m_hasDefault = false;
};

} // namespace GenApi::detail

#endif
