#include "xml/DescriptionDocument.h"

#include <cctype>
#include <cstdio>
#include <cstring>

#include <Base/GCException.h>

#include "xml/ZipArchive.h"

namespace GenApi {

namespace {

std::string_view LocalName(const char* name) {
    const char* colon = std::strchr(name, ':');
    return colon != nullptr ? std::string_view(colon + 1) : std::string_view(name);
}

// Groups nest node elements; they are transparent.
constexpr int kMaximumGroupDepth = 64;

void IndexElements(const pugi::xml_node& parent, std::unordered_map<std::string_view, pugi::xml_node>& index, int depth) {
    if (depth > kMaximumGroupDepth) return;
    for (pugi::xml_node element = parent.first_child(); element; element = element.next_sibling()) {
        if (element.type() != pugi::node_element) continue;
        const std::string_view kind = LocalName(element.name());
        if (kind == "Group") {
            IndexElements(element, index, depth + 1);
        } else if (kind == "StructReg") {
            for (pugi::xml_node entry = element.first_child(); entry; entry = entry.next_sibling())
                if (LocalName(entry.name()) == "StructEntry") index.emplace(entry.attribute("Name").value(), element);
        } else {
            index.emplace(element.attribute("Name").value(), element);
            if (kind == "Enumeration") {
                // Entries are named after their enumeration.
                for (pugi::xml_node entry = element.first_child(); entry; entry = entry.next_sibling())
                    if (LocalName(entry.name()) == "EnumEntry") index.emplace(entry.attribute("Name").value(), element);
            }
        }
    }
}

bool IsReferenceElement(const char* name) {
    const std::string_view local = LocalName(name);
    return local.size() > 1 && local[0] == 'p' && local[1] >= 'A' && local[1] <= 'Z';
}

} // namespace

std::shared_ptr<const DescriptionDocument> DescriptionDocument::Parse(std::vector<char> text) {
    auto document = std::make_shared<DescriptionDocument>();
    document->m_shared = std::make_shared<Shared>();
    Shared& shared = *document->m_shared;
    shared.text = std::move(text);
    if (shared.text.empty()) throw RUNTIME_EXCEPTION("The description file is empty");
    const pugi::xml_parse_result result =
        shared.document.load_buffer_inplace(shared.text.data(), shared.text.size(), pugi::parse_default, pugi::encoding_auto);
    if (!result)
        throw RUNTIME_EXCEPTION("The description file is not well-formed XML: %s at offset %lld", result.description(),
                                static_cast<long long>(result.offset));
    const pugi::xml_node root = shared.document.document_element();
    if (!root || LocalName(root.name()) != "RegisterDescription")
        throw RUNTIME_EXCEPTION("The description file's root element is <%s>, not <RegisterDescription>",
                                root ? root.name() : "");
    IndexElements(root, shared.index, 0);
    return document;
}

std::shared_ptr<const DescriptionDocument> DescriptionDocument::FromMemory(EContentType_t contentType, const void* data, size_t size) {
    if (data == nullptr || size == 0) throw INVALID_ARGUMENT_EXCEPTION("The description data is empty");
    const bool zipped = contentType == ContentType_ZippedXml ||
                        (contentType == ContentType_Auto && detail::LooksLikeZip(data, size));
    if (zipped) return Parse(detail::ExtractDescription(data, size));
    const char* bytes = static_cast<const char*>(data);
    return Parse(std::vector<char>(bytes, bytes + size));
}

std::shared_ptr<const DescriptionDocument> DescriptionDocument::FromFile(EContentType_t contentType, const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) throw RUNTIME_EXCEPTION("Cannot open the description file '%s'", path);
    std::vector<char> data;
    char chunk[65536];
    size_t read = 0;
    while ((read = std::fread(chunk, 1, sizeof chunk, file)) > 0) data.insert(data.end(), chunk, chunk + read);
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed) throw RUNTIME_EXCEPTION("Cannot read the description file '%s'", path);
    if (data.empty()) throw RUNTIME_EXCEPTION("The description file '%s' is empty", path);
    const bool zipped = contentType == ContentType_ZippedXml ||
                        (contentType == ContentType_Auto && detail::LooksLikeZip(data.data(), data.size()));
    if (zipped) return Parse(detail::ExtractDescription(data.data(), data.size()));
    return Parse(std::move(data));
}

std::shared_ptr<const DescriptionDocument> DescriptionDocument::Subtree(std::string_view rootName) const {
    const auto root = m_shared->index.find(rootName);
    if (root == m_shared->index.end() || !Selected(root->second))
        throw INVALID_ARGUMENT_EXCEPTION("The description has no node '%s' to extract", std::string(rootName));
    auto selection = std::make_shared<std::unordered_set<const void*>>();
    std::vector<pugi::xml_node> work{root->second};
    selection->insert(root->second.internal_object());
    while (!work.empty()) {
        const pugi::xml_node element = work.back();
        work.pop_back();
        // Every reference inside the element, including those of inline children.
        std::vector<pugi::xml_node> descendants;
        for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling()) descendants.push_back(child);
        while (!descendants.empty()) {
            const pugi::xml_node child = descendants.back();
            descendants.pop_back();
            if (child.type() != pugi::node_element) continue;
            auto select = [&](std::string_view name) {
                while (!name.empty() && std::isspace(static_cast<unsigned char>(name.front()))) name.remove_prefix(1);
                while (!name.empty() && std::isspace(static_cast<unsigned char>(name.back()))) name.remove_suffix(1);
                const auto target = m_shared->index.find(name);
                if (target != m_shared->index.end() && selection->insert(target->second.internal_object()).second)
                    work.push_back(target->second);
            };
            if (IsReferenceElement(child.name())) select(child.child_value());
            for (pugi::xml_attribute attribute = child.first_attribute(); attribute; attribute = attribute.next_attribute())
                if (IsReferenceElement(attribute.name())) select(attribute.value());
            for (pugi::xml_node inner = child.first_child(); inner; inner = inner.next_sibling()) descendants.push_back(inner);
        }
    }
    auto subtree = std::make_shared<DescriptionDocument>();
    subtree->m_shared = m_shared;
    subtree->m_selection = std::move(selection);
    return subtree;
}

} // namespace GenApi
