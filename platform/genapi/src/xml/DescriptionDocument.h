// A loaded description file: the XML text (unpacked from a zip archive when needed), its parsed
// tree, and optionally the subset of node elements a subtree extraction selected.
#ifndef GENAPI_SRC_XML_DESCRIPTIONDOCUMENT_H
#define GENAPI_SRC_XML_DESCRIPTIONDOCUMENT_H

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <pugixml.hpp>

#include <GenApi/NodeMapFactory.h>

namespace GenApi {

class DescriptionDocument {
public:
    // Throws RuntimeException for data that is neither a description file nor a zip holding one.
    static std::shared_ptr<const DescriptionDocument> FromMemory(EContentType_t contentType, const void* data, size_t size);
    static std::shared_ptr<const DescriptionDocument> FromFile(EContentType_t contentType, const std::string& path);

    // Only the named node and everything it refers to, directly or not. Throws
    // InvalidArgumentException when there is no node of that name.
    std::shared_ptr<const DescriptionDocument> Subtree(std::string_view rootName) const;

    pugi::xml_node Root() const { return m_shared->document.document_element(); }
    // True when the node element belongs to this document's selection.
    bool Selected(const pugi::xml_node& element) const {
        return m_selection == nullptr || m_selection->count(element.internal_object()) != 0;
    }

private:
    struct Shared {
        std::vector<char> text;
        pugi::xml_document document;
        // Node name to the top-level element that defines it (a StructReg for its entries).
        std::unordered_map<std::string_view, pugi::xml_node> index;
    };

    static std::shared_ptr<const DescriptionDocument> Parse(std::vector<char> text);

    std::shared_ptr<Shared> m_shared;
    std::shared_ptr<std::unordered_set<const void*>> m_selection;
};

} // namespace GenApi

#endif
