// Turns the node elements of a description into the nodes of a node map: creates one node
// per element, resolves every reference to a pointer, checks the types of references, looks
// for reference cycles, compiles formulas and builds the dependency graph.
#ifndef GENAPI_SRC_XML_NODEBUILDER_H
#define GENAPI_SRC_XML_NODEBUILDER_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <pugixml.hpp>

#include <GenApi/Types.h>

namespace GenApi {
class DescriptionDocument;
}

namespace GenApi::detail {

class Node;
class NodeMap;

class NodeBuilder {
public:
    NodeBuilder(NodeMap& map, bool suppressStrings) : m_map(map), m_suppressStrings(suppressStrings) {}

    // Builds every node element the document selects. Throws GenICam exceptions naming the
    // node and the problem.
    void Build(const DescriptionDocument& document);

    // ---- for nodes parsing their properties ----
    void Reference(Node* owner, Node** slot, const pugi::xml_node& element);
    void ReferenceList(Node* owner, std::vector<Node*>& list, const pugi::xml_node& element);
    // A reference given as text (for example an attribute).
    void ReferenceText(Node* owner, Node** slot, std::string_view name, const char* what);

    static std::string_view Text(const pugi::xml_node& element);
    int64_t Integer(const Node* owner, const pugi::xml_node& element) const;
    int64_t IntegerText(const Node* owner, std::string_view text, const char* what) const;
    double Float(const Node* owner, const pugi::xml_node& element) const;
    bool YesNo(const Node* owner, const pugi::xml_node& element) const;
    EAccessMode AccessMode(const Node* owner, const pugi::xml_node& element) const;
    EVisibility Visibility(const Node* owner, const pugi::xml_node& element) const;
    ECachingMode CachingMode(const Node* owner, const pugi::xml_node& element) const;
    ERepresentation Representation(const Node* owner, const pugi::xml_node& element) const;
    EEndianess Endianess(const Node* owner, const pugi::xml_node& element) const;
    ESign Sign(const Node* owner, const pugi::xml_node& element) const;
    ESlope Slope(const Node* owner, const pugi::xml_node& element) const;
    EDisplayNotation DisplayNotation(const Node* owner, const pugi::xml_node& element) const;
    bool SuppressStrings() const { return m_suppressStrings; }

    // Throws PropertyException "Node 'name': problem".
    [[noreturn]] void Fail(const Node* owner, const std::string& problem) const;
    // Checks the kind of a resolved reference; accept tells which kinds are fine.
    void Require(const Node* owner, const Node* target, const char* what, bool (*accept)(const Node*),
                 const char* expected) const;

    NodeMap& Map() { return m_map; }
    // Creates a node for an element (also used for inline children such as StructEntry);
    // null for an element name that is not a node kind.
    Node* CreateNode(const pugi::xml_node& element, std::string_view name, bool addToMap = true);
    void ParseChildren(Node* node, const pugi::xml_node& element);
    // One child element of a node; false for an element the node does not know. An empty
    // optional element is taken as absent, so the node keeps its default.
    bool ParseProperty(Node* node, std::string_view property, const pugi::xml_node& child);

private:
    struct PendingReference {
        Node* owner;
        Node** slot;
        std::vector<Node*>* list;
        size_t index;
        std::string name;
        std::string element;
    };

    void CreateFromElement(const pugi::xml_node& element, int groupDepth);
    void ResolveReferences();
    void CheckCycles();
    void BuildGraph();

    NodeMap& m_map;
    bool m_suppressStrings;
    std::vector<PendingReference> m_pending;
    std::vector<std::pair<Node*, pugi::xml_node>> m_created;
    std::vector<Node*> m_order; // children before the nodes that read them
};

} // namespace GenApi::detail

#endif
