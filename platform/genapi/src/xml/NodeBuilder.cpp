#include "xml/NodeBuilder.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <strings.h>

#include <Base/GCException.h>
#include <GenApi/EnumClasses.h>

#include "nodemap/NodeMap.h"
#include "nodes/BooleanNode.h"
#include "nodes/CategoryNode.h"
#include "nodes/CommandNode.h"
#include "nodes/ConverterNode.h"
#include "nodes/EnumEntryNode.h"
#include "nodes/EnumerationNode.h"
#include "nodes/FloatNode.h"
#include "nodes/FloatRegNode.h"
#include "nodes/IntConverterNode.h"
#include "nodes/IntRegNode.h"
#include "nodes/IntSwissKnifeNode.h"
#include "nodes/IntegerNode.h"
#include "nodes/MaskedIntRegNode.h"
#include "nodes/PortNode.h"
#include "nodes/RegisterNode.h"
#include "nodes/StringNode.h"
#include "nodes/StringRegNode.h"
#include "nodes/SwissKnifeNode.h"
#include "nodes/ValueText.h"
#include "xml/DescriptionDocument.h"

namespace GenApi::detail {

namespace {

constexpr int kMaximumGroupDepth = 64;

std::string_view LocalName(const char* name) {
    const char* colon = std::strchr(name, ':');
    return colon != nullptr ? std::string_view(colon + 1) : std::string_view(name);
}

std::unique_ptr<Node> Instantiate(std::string_view kind, NodeMap& map, std::string name, const pugi::xml_node& element) {
    if (kind == "Integer") return std::make_unique<IntegerNode>(map, std::move(name));
    if (kind == "IntReg") return std::make_unique<IntRegNode>(map, std::move(name));
    if (kind == "MaskedIntReg") return std::make_unique<MaskedIntRegNode>(map, std::move(name));
    if (kind == "IntSwissKnife") return std::make_unique<IntSwissKnifeNode>(map, std::move(name));
    if (kind == "IntConverter") return std::make_unique<IntConverterNode>(map, std::move(name));
    if (kind == "Float") return std::make_unique<FloatNode>(map, std::move(name));
    if (kind == "FloatReg") return std::make_unique<FloatRegNode>(map, std::move(name));
    if (kind == "SwissKnife") return std::make_unique<SwissKnifeNode>(map, std::move(name));
    if (kind == "Converter") return std::make_unique<ConverterNode>(map, std::move(name));
    if (kind == "Boolean") return std::make_unique<BooleanNode>(map, std::move(name));
    if (kind == "Command") return std::make_unique<CommandNode>(map, std::move(name));
    if (kind == "Enumeration") return std::make_unique<EnumerationNode>(map, std::move(name));
    if (kind == "EnumEntry") return std::make_unique<EnumEntryNode>(map, std::move(name), element.attribute("Name").value());
    if (kind == "String") return std::make_unique<StringNode>(map, std::move(name));
    if (kind == "StringReg") return std::make_unique<StringRegNode>(map, std::move(name));
    if (kind == "TextDesc") return std::make_unique<StringRegNode>(map, std::move(name), "TextDesc");
    if (kind == "Register") return std::make_unique<RegisterNode>(map, std::move(name));
    if (kind == "Category") return std::make_unique<CategoryNode>(map, std::move(name));
    if (kind == "Port") return std::make_unique<PortNode>(map, std::move(name));
    if (kind == "ConfRom") return std::make_unique<IntRegNode>(map, std::move(name), "ConfRom");
    if (kind == "IntKey") return std::make_unique<IntRegNode>(map, std::move(name), "IntKey");
    if (kind == "AdvFeatureLock") return std::make_unique<IntRegNode>(map, std::move(name), "AdvFeatureLock");
    if (kind == "SmartFeature") return std::make_unique<IntRegNode>(map, std::move(name), "SmartFeature");
    return nullptr;
}

template <class E>
E ParseEnum(const NodeBuilder& builder, const Node* owner, const pugi::xml_node& element,
            bool (*fromString)(const GenICam::gcstring&, E*)) {
    E value{};
    const std::string text(NodeBuilder::Text(element));
    if (!fromString(text, &value))
        builder.Fail(owner, "<" + std::string(LocalName(element.name())) + "> has the unknown value '" + text + "'");
    return value;
}

// Optional elements whose absence means a default value. Written empty (<Streamable/>, or
// only white space) they mean the same as absent: some description files are written so, and the
// node is perfectly usable with the default. Elements that are required, references and
// literal values stay strict.
bool DefaultsWhenEmpty(std::string_view property) {
    static constexpr std::string_view kDefaulted[] = {
        "Visibility", "ImposedAccessMode", "Streamable", "IsDeprecated", "Cachable", "PollingTime",
        "Representation", "DisplayNotation", "DisplayPrecision", "Min", "Max", "Inc", "AccessMode",
        "Endianess", "Sign", "Slope", "IsLinear", "SwapEndianess", "CacheChunkData", "ChunkID",
        "IsSelfClearing", "OnValue", "OffValue", "NumericValue",
    };
    return std::find(std::begin(kDefaulted), std::end(kDefaulted), property) != std::end(kDefaulted);
}

bool IsEmpty(const pugi::xml_node& element) {
    for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling())
        if (child.type() == pugi::node_element) return false;
    return NodeBuilder::Text(element).empty();
}

} // namespace

std::string_view NodeBuilder::Text(const pugi::xml_node& element) {
    pugi::xml_node first = element.first_child();
    if (first && !first.next_sibling()) return Trim(first.value());
    // Text split by comments or CDATA sections is joined.
    thread_local std::string joined;
    joined.clear();
    for (pugi::xml_node child = first; child; child = child.next_sibling())
        if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) joined += child.value();
    return Trim(joined);
}

void NodeBuilder::Fail(const Node* owner, const std::string& problem) const {
    if (owner == nullptr) throw PROPERTY_EXCEPTION("%s", problem);
    throw PROPERTY_EXCEPTION("Node '%s' (%s): %s", owner->Name(), owner->ElementName(), problem);
}

int64_t NodeBuilder::IntegerText(const Node* owner, std::string_view text, const char* what) const {
    int64_t value = 0;
    const std::string_view trimmed = Trim(text);
    if (trimmed.find_first_of(".:") != std::string_view::npos || !ParseInteger(trimmed, value))
        Fail(owner, std::string("<") + what + "> '" + std::string(trimmed) + "' is not an integer");
    return value;
}

int64_t NodeBuilder::Integer(const Node* owner, const pugi::xml_node& element) const {
    return IntegerText(owner, Text(element), std::string(LocalName(element.name())).c_str());
}

double NodeBuilder::Float(const Node* owner, const pugi::xml_node& element) const {
    double value = 0.0;
    const std::string_view text = Text(element);
    if (!ParseFloat(text, value))
        Fail(owner, "<" + std::string(LocalName(element.name())) + "> '" + std::string(text) + "' is not a number");
    return value;
}

bool NodeBuilder::YesNo(const Node* owner, const pugi::xml_node& element) const {
    const std::string text(Text(element));
    if (strcasecmp(text.c_str(), "Yes") == 0 || strcasecmp(text.c_str(), "true") == 0 || text == "1") return true;
    if (strcasecmp(text.c_str(), "No") == 0 || strcasecmp(text.c_str(), "false") == 0 || text == "0") return false;
    Fail(owner, "<" + std::string(LocalName(element.name())) + "> '" + text + "' is neither Yes nor No");
}

EAccessMode NodeBuilder::AccessMode(const Node* owner, const pugi::xml_node& element) const {
    // Some files abbreviate read-only and write-only to one letter.
    const std::string_view text = Text(element);
    if (text == "R") return RO;
    if (text == "W") return WO;
    return ParseEnum<EAccessMode>(*this, owner, element, EAccessModeClass::FromString);
}

EVisibility NodeBuilder::Visibility(const Node* owner, const pugi::xml_node& element) const {
    return ParseEnum<EVisibility>(*this, owner, element, EVisibilityClass::FromString);
}
ECachingMode NodeBuilder::CachingMode(const Node* owner, const pugi::xml_node& element) const {
    return ParseEnum<ECachingMode>(*this, owner, element, ECachingModeClass::FromString);
}
ERepresentation NodeBuilder::Representation(const Node* owner, const pugi::xml_node& element) const {
    return ParseEnum<ERepresentation>(*this, owner, element, ERepresentationClass::FromString);
}
EEndianess NodeBuilder::Endianess(const Node* owner, const pugi::xml_node& element) const {
    return ParseEnum<EEndianess>(*this, owner, element, EEndianessClass::FromString);
}
ESign NodeBuilder::Sign(const Node* owner, const pugi::xml_node& element) const {
    return ParseEnum<ESign>(*this, owner, element, ESignClass::FromString);
}
ESlope NodeBuilder::Slope(const Node* owner, const pugi::xml_node& element) const {
    return ParseEnum<ESlope>(*this, owner, element, ESlopeClass::FromString);
}
EDisplayNotation NodeBuilder::DisplayNotation(const Node* owner, const pugi::xml_node& element) const {
    return ParseEnum<EDisplayNotation>(*this, owner, element, EDisplayNotationClass::FromString);
}

void NodeBuilder::Reference(Node* owner, Node** slot, const pugi::xml_node& element) {
    ReferenceText(owner, slot, Text(element), std::string(LocalName(element.name())).c_str());
}

void NodeBuilder::ReferenceText(Node* owner, Node** slot, std::string_view name, const char* what) {
    const std::string_view trimmed = Trim(name);
    if (trimmed.empty()) Fail(owner, std::string("<") + what + "> is empty");
    m_pending.push_back(PendingReference{owner, slot, nullptr, 0, std::string(trimmed), what});
}

void NodeBuilder::ReferenceList(Node* owner, std::vector<Node*>& list, const pugi::xml_node& element) {
    const std::string_view name = Text(element);
    if (name.empty()) Fail(owner, "<" + std::string(LocalName(element.name())) + "> is empty");
    list.push_back(nullptr);
    m_pending.push_back(PendingReference{owner, nullptr, &list, list.size() - 1, std::string(name),
                                         std::string(LocalName(element.name()))});
}

void NodeBuilder::Require(const Node* owner, const Node* target, const char* what, bool (*accept)(const Node*),
                          const char* expected) const {
    if (target == nullptr || accept(target)) return;
    Fail(owner, std::string("<") + what + "> refers to '" + target->Name() + "', which is a " + target->ElementName() +
                    ", not " + expected);
}

Node* NodeBuilder::CreateNode(const pugi::xml_node& element, std::string_view name, bool addToMap) {
    const std::string_view kind = LocalName(element.name());
    if (name.empty()) Fail(nullptr, "A <" + std::string(kind) + "> element has no Name");
    std::unique_ptr<Node> node = Instantiate(kind, m_map, std::string(name), element);
    if (!node) return nullptr;
    Node* raw = node.get();
    if (std::strcmp(element.attribute("NameSpace").value(), "Standard") == 0) raw->SetNameSpace(Standard);
    if (addToMap) {
        if (!m_map.Add(std::move(node))) Fail(nullptr, "Node '" + std::string(name) + "' is defined twice");
    } else {
        m_map.AddHidden(std::move(node));
    }
    m_created.emplace_back(raw, element);
    ParseChildren(raw, element);
    return raw;
}

bool NodeBuilder::ParseProperty(Node* node, std::string_view property, const pugi::xml_node& child) {
    if (DefaultsWhenEmpty(property) && IsEmpty(child)) return true;
    return node->ParseProperty(property, child, *this);
}

void NodeBuilder::ParseChildren(Node* node, const pugi::xml_node& element) {
    for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling()) {
        if (child.type() != pugi::node_element) continue;
        const std::string_view property = LocalName(child.name());
        if (!ParseProperty(node, property, child)) Fail(node, "unknown element <" + std::string(property) + ">");
    }
}

void NodeBuilder::CreateFromElement(const pugi::xml_node& element, int groupDepth) {
    const std::string_view kind = LocalName(element.name());
    if (kind == "Group") {
        if (groupDepth > kMaximumGroupDepth) Fail(nullptr, "Groups are nested too deeply");
        for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling())
            if (child.type() == pugi::node_element) CreateFromElement(child, groupDepth + 1);
        return;
    }
    if (kind == "StructReg") {
        // Each entry is a masked register that shares the structure's register properties.
        for (pugi::xml_node entry = element.first_child(); entry; entry = entry.next_sibling()) {
            if (entry.type() != pugi::node_element || LocalName(entry.name()) != "StructEntry") continue;
            const std::string name = entry.attribute("Name").value();
            if (name.empty()) Fail(nullptr, "A <StructEntry> has no Name");
            auto node = std::make_unique<MaskedIntRegNode>(m_map, name, "StructEntry");
            Node* raw = node.get();
            if (std::strcmp(entry.attribute("NameSpace").value(), "Standard") == 0) raw->SetNameSpace(Standard);
            if (!m_map.Add(std::move(node))) Fail(nullptr, "Node '" + name + "' is defined twice");
            m_created.emplace_back(raw, entry);
            for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling()) {
                if (child.type() != pugi::node_element) continue;
                const std::string_view property = LocalName(child.name());
                if (property == "StructEntry") continue;
                if (!ParseProperty(raw, property, child))
                    Fail(raw, "unknown element <" + std::string(property) + "> in its StructReg");
            }
            ParseChildren(raw, entry);
        }
        return;
    }
    if (CreateNode(element, element.attribute("Name").value()) == nullptr)
        Fail(nullptr, "Unknown element <" + std::string(kind) + "> in the description");
}

void NodeBuilder::Build(const DescriptionDocument& document) {
    const pugi::xml_node root = document.Root();
    for (pugi::xml_node element = root.first_child(); element; element = element.next_sibling()) {
        if (element.type() != pugi::node_element) continue;
        if (LocalName(element.name()) == "Group") {
            // A group is selected as a whole only through its members.
            std::vector<std::pair<pugi::xml_node, int>> stack{{element, 0}};
            while (!stack.empty()) {
                const auto [group, depth] = stack.back();
                stack.pop_back();
                if (depth > kMaximumGroupDepth) Fail(nullptr, "Groups are nested too deeply");
                for (pugi::xml_node child = group.first_child(); child; child = child.next_sibling()) {
                    if (child.type() != pugi::node_element) continue;
                    if (LocalName(child.name()) == "Group") stack.emplace_back(child, depth + 1);
                    else if (document.Selected(child)) CreateFromElement(child, depth + 1);
                }
            }
            continue;
        }
        if (document.Selected(element)) CreateFromElement(element, 0);
    }
    ResolveReferences();
    for (auto& [node, element] : m_created) node->Link(*this);
    CheckCycles();
    BuildGraph();
}

void NodeBuilder::ResolveReferences() {
    for (PendingReference& pending : m_pending) {
        Node* target = m_map.Find(pending.name);
        if (target == nullptr)
            Fail(pending.owner, "<" + pending.element + "> refers to '" + pending.name + "', which does not exist");
        if (pending.slot != nullptr) *pending.slot = target;
        else (*pending.list)[pending.index] = target;
    }
    m_pending.clear();
}

void NodeBuilder::CheckCycles() {
    // Iterative depth-first search over the nodes each node reads; the stamp is the colour:
    // 0 unvisited, 1 on the current path, 2 done.
    const auto& nodes = m_map.Nodes();
    for (const auto& node : nodes) node->m_stamp = 0;
    struct Frame {
        Node* node;
        std::vector<Node*> children;
        size_t next;
    };
    m_order.clear();
    for (const auto& start : nodes) {
        if (start->m_stamp != 0) continue;
        std::vector<Frame> path;
        path.push_back(Frame{start.get(), {}, 0});
        start->CollectValueChildren(path.back().children);
        start->m_stamp = 1;
        while (!path.empty()) {
            Frame& frame = path.back();
            if (frame.next == frame.children.size()) {
                frame.node->m_stamp = 2;
                m_order.push_back(frame.node);
                path.pop_back();
                continue;
            }
            Node* child = frame.children[frame.next++];
            if (child->m_stamp == 2) continue;
            if (child->m_stamp == 1) {
                std::string cycle;
                bool inCycle = false;
                for (const Frame& step : path) {
                    if (step.node == child) inCycle = true;
                    if (inCycle) cycle += step.node->Name() + " -> ";
                }
                cycle += child->Name();
                for (const auto& node : nodes) node->m_stamp = 0;
                Fail(child, "reference cycle " + cycle);
            }
            child->m_stamp = 1;
            path.push_back(Frame{child, {}, 0});
            child->CollectValueChildren(path.back().children);
        }
    }
    for (const auto& node : nodes) node->m_stamp = 0;
}

void NodeBuilder::BuildGraph() {
    const auto& nodes = m_map.Nodes();
    std::vector<Node*> children;
    for (const auto& owner : nodes) {
        Node* node = owner.get();
        children.clear();
        node->CollectValueChildren(children);
        node->CollectAccessChildren(children);
        for (Node* child : children) {
            child->m_dependents.push_back(node);
            child->m_parents.push_back(node);
        }
        for (Node* invalidator : node->m_invalidators) invalidator->m_dependents.push_back(node);
        for (Node* selected : node->m_selected) {
            node->m_dependents.push_back(selected);
            selected->m_selecting.push_back(node);
        }
    }
    for (const auto& owner : nodes) {
        for (std::vector<Node*>* list : {&owner->m_dependents, &owner->m_parents, &owner->m_selecting}) {
            std::sort(list->begin(), list->end());
            list->erase(std::unique(list->begin(), list->end()), list->end());
            list->erase(std::remove(list->begin(), list->end(), owner.get()), list->end());
            list->shrink_to_fit();
        }
    }

    // Children come before their readers in m_order, so one pass settles what may be cached:
    // a value may be cached unless it is read through a register that is never cached, and an
    // access mode may be cached when everything it is computed from may be.
    std::unordered_map<const Node*, bool> valueCacheable;
    valueCacheable.reserve(m_order.size());
    for (Node* node : m_order) {
        bool cacheable = !(node->HasOwnCache() && !node->OwnCacheAllowed());
        children.clear();
        node->CollectValueChildren(children);
        for (Node* child : children) cacheable = cacheable && valueCacheable[child];
        valueCacheable[node] = cacheable;
    }
    for (Node* node : m_order) {
        bool cacheable = true;
        children.clear();
        node->CollectAccessChildren(children);
        for (Node* child : children) cacheable = cacheable && valueCacheable[child];
        children.clear();
        node->CollectValueChildren(children);
        for (Node* child : children) cacheable = cacheable && valueCacheable[child] && child->m_accessCacheable;
        node->m_accessCacheable = cacheable;
    }

    // Features are what the category tree below Root reaches.
    if (Node* root = m_map.Find("Root"); root != nullptr && root->Kind() == ValueKind::Category) {
        std::vector<Node*> work{root};
        while (!work.empty()) {
            Node* node = work.back();
            work.pop_back();
            if (node->m_isFeature) continue;
            node->m_isFeature = true;
            if (node->Kind() == ValueKind::Category) {
                const auto& features = static_cast<CategoryNode*>(node)->Features();
                work.insert(work.end(), features.begin(), features.end());
            }
        }
    }
}

} // namespace GenApi::detail
