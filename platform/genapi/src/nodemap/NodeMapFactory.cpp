#include <GenApi/NodeMapFactory.h>

#include <memory>

#include <Base/GCException.h>

#include "nodemap/NodeMap.h"
#include "nodes/Node.h"
#include "xml/DescriptionDocument.h"
#include "xml/NodeBuilder.h"
#include "xml/ZipArchive.h"

namespace GenApi {

CNodeMapFactory::CNodeMapFactory() = default;

CNodeMapFactory::CNodeMapFactory(EContentType_t ContentType, const GenICam::gcstring& FileName, ECacheUsage_t,
                                 bool SuppressStringsOnLoad)
    : m_document(DescriptionDocument::FromFile(ContentType, FileName.str())), m_suppressStrings(SuppressStringsOnLoad) {}

CNodeMapFactory::CNodeMapFactory(EContentType_t ContentType, const void* pData, size_t DataSize, ECacheUsage_t,
                                 bool SuppressStringsOnLoad)
    : m_document(DescriptionDocument::FromMemory(ContentType, pData, DataSize)), m_suppressStrings(SuppressStringsOnLoad) {}

CNodeMapFactory::CNodeMapFactory(const CNodeMapFactory& other) = default;
CNodeMapFactory& CNodeMapFactory::operator=(const CNodeMapFactory& other) = default;
CNodeMapFactory::~CNodeMapFactory() = default;

INodeMap* CNodeMapFactory::CreateNodeMap(const GenICam::gcstring& DeviceName, bool DoReleaseCameraDescriptionFileData) {
    if (!m_document) throw LOGICAL_ERROR_EXCEPTION("The node map factory holds no description to create a node map from");
    auto map = std::make_unique<detail::NodeMap>(DeviceName.str());
    detail::NodeBuilder builder(*map, m_suppressStrings);
    builder.Build(*m_document);
    if (DoReleaseCameraDescriptionFileData) ReleaseCameraDescriptionFileData();
    return map.release();
}

CNodeMapFactory CNodeMapFactory::ExtractSubtree(const GenICam::gcstring& SubTreeRootNodeName) {
    if (!m_document) throw LOGICAL_ERROR_EXCEPTION("The node map factory holds no description to extract from");
    CNodeMapFactory subtree;
    subtree.m_document = m_document->Subtree(SubTreeRootNodeName.str());
    subtree.m_suppressStrings = m_suppressStrings;
    return subtree;
}

void CNodeMapFactory::ReleaseCameraDescriptionFileData() { m_document.reset(); }

bool CNodeMapFactory::IsEmpty() const { return !m_document; }

bool CNodeMapFactory::IsLoaded() const { return static_cast<bool>(m_document); }

GenICam::gcstring DescriptionFileText(const void* pData, size_t DataSize) {
    if (pData == nullptr || DataSize == 0) return GenICam::gcstring();
    if (!detail::LooksLikeZip(pData, DataSize)) return GenICam::gcstring(std::string(static_cast<const char*>(pData), DataSize));
    const std::vector<char> text = detail::ExtractDescription(pData, DataSize);
    return GenICam::gcstring(std::string(text.data(), text.size()));
}

} // namespace GenApi
