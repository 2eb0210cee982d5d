// Builds node maps from a description file: plain XML or a zip archive holding one XML.
#ifndef GENAPI_NODEMAPFACTORY_H
#define GENAPI_NODEMAPFACTORY_H

#include <cstddef>
#include <memory>

#include <Base/GCString.h>
#include <GenApi/INodeMap.h>

namespace GenApi {

typedef enum { ContentType_Auto, ContentType_Xml, ContentType_ZippedXml } EContentType_t;

// Accepted for compatibility: this engine keeps no preprocessed cache on disk.
typedef enum { CacheUsage_Automatic, CacheUsage_ForceWrite, CacheUsage_ForceRead, CacheUsage_Ignore } ECacheUsage_t;

class DescriptionDocument;

class GENAPI_DECL CNodeMapFactory {
public:
    // An empty factory.
    CNodeMapFactory();
    // Loads a file. Errors (missing file, malformed XML, broken zip) throw at once.
    CNodeMapFactory(EContentType_t ContentType, const GenICam::gcstring& FileName,
                    ECacheUsage_t CacheUsage = CacheUsage_Automatic, bool SuppressStringsOnLoad = false);
    // Loads from memory; the bytes are copied, so the caller may free them afterwards.
    CNodeMapFactory(EContentType_t ContentType, const void* pData, size_t DataSize,
                    ECacheUsage_t CacheUsage = CacheUsage_Automatic, bool SuppressStringsOnLoad = false);
    CNodeMapFactory(const CNodeMapFactory& other);
    CNodeMapFactory& operator=(const CNodeMapFactory& other);
    ~CNodeMapFactory();

    // A node map owned by the caller, destroyed through IDestroy. With
    // DoReleaseCameraDescriptionFileData the factory frees the description afterwards and can
    // make no further node map.
    INodeMap* CreateNodeMap(const GenICam::gcstring& DeviceName = "Device",
                            bool DoReleaseCameraDescriptionFileData = true);
    // A factory for only the named node and everything it references (for example the chunk
    // category of a camera). Throws when there is no such node.
    CNodeMapFactory ExtractSubtree(const GenICam::gcstring& SubTreeRootNodeName);
    void ReleaseCameraDescriptionFileData();
    bool IsEmpty() const;
    bool IsLoaded() const;

private:
    std::shared_ptr<const DescriptionDocument> m_document;
    bool m_suppressStrings = false;
};

// Beyond the GenApi interface: the XML text of a description file held in memory, unpacked
// when it is zipped, e.g. for writing a camera's file to disk. Throws RuntimeException for a
// broken archive.
GENAPI_DECL GenICam::gcstring DescriptionFileText(const void* pData, size_t DataSize);

} // namespace GenApi

#endif
