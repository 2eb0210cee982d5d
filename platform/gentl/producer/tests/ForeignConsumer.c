/* A GenTL consumer written the way other vendors write theirs: plain C, the producer loaded
 * at run time with dlopen, every function resolved with dlsym, nothing but the standard C API
 * and the description file the camera serves. It checks that the project's producer serves
 * such a consumer: listing, reopening the system and a device by an ID learnt earlier, the
 * description file through GCGetPortURLInfo, register access found in that file, a short
 * acquisition, and EventKill racing a stream thread's wait.
 *
 * Usage: gentl_foreign_consumer <path to libgentl.so.1> [random seed]
 * Exit status 0 on success; otherwise the first failure is printed and the status is non-zero.
 *
 * What it assumes of the remote device's description file, kept deliberately small:
 * - it is plain XML or a zip archive whose first entry is the XML file, stored or deflated;
 * - attributes are written with double quotes (Name="Width");
 * - a feature is a register node itself (IntReg, FloatReg) or names one in its
 *   <pValue>; registers have a literal <Address> and <Length> (no pAddress/pIndex) and an
 *   <Endianess> (LittleEndian when absent);
 * - a command writes its literal <CommandValue>; an enumeration entry has a literal <Value>.
 * The device uses SFNC feature names: Width, Height, PixelFormat (entry Mono8), PayloadSize,
 * AcquisitionStart, AcquisitionStop and, when present, TLParamsLocked. */
#define _POSIX_C_SOURCE 200809L

#include <GenTL/GenTL.h>

#include <ctype.h>
#include <dlfcn.h>
#include <errno.h>
#include <inttypes.h>
#include <pthread.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <time.h>
#include <unistd.h>
#include <zlib.h>

/* What the test looks for; everything else (interface and device IDs, addresses, sizes) is
 * learnt from the producer and the description file. */
static const char* const kInterfaceName = "VirtualGigE0";
static const char* const kSerialNumber = "VM1280M-0001";
enum {
    kImageWidth = 64, /* a multiple of any usual width increment */
    kImageHeight = 48,
    kBufferCount = 4,
    kFramesToCheck = 16,
    kKillRounds = 1000,
    kFramesAfterRace = 3
};
/* Bounds that only detect a hang: none of them is expected to be reached. */
static const uint64_t kFrameTimeoutMs = 10000;
static const int kRoundTimeoutSeconds = 10;
static const unsigned kWatchdogSeconds = 240;

/* ---- the producer's functions --------------------------------------------------------------- */

static struct {
    PGCGetLastError GCGetLastError;
    PGCInitLib GCInitLib;
    PGCCloseLib GCCloseLib;
    PGCReadPort GCReadPort;
    PGCWritePort GCWritePort;
    PGCGetNumPortURLs GCGetNumPortURLs;
    PGCGetPortURLInfo GCGetPortURLInfo;
    PGCRegisterEvent GCRegisterEvent;
    PGCUnregisterEvent GCUnregisterEvent;
    PEventGetData EventGetData;
    PEventKill EventKill;
    PTLOpen TLOpen;
    PTLClose TLClose;
    PTLGetNumInterfaces TLGetNumInterfaces;
    PTLGetInterfaceID TLGetInterfaceID;
    PTLOpenInterface TLOpenInterface;
    PTLUpdateInterfaceList TLUpdateInterfaceList;
    PIFClose IFClose;
    PIFGetNumDevices IFGetNumDevices;
    PIFGetDeviceID IFGetDeviceID;
    PIFUpdateDeviceList IFUpdateDeviceList;
    PIFGetDeviceInfo IFGetDeviceInfo;
    PIFOpenDevice IFOpenDevice;
    PDevGetPort DevGetPort;
    PDevGetNumDataStreams DevGetNumDataStreams;
    PDevGetDataStreamID DevGetDataStreamID;
    PDevOpenDataStream DevOpenDataStream;
    PDevClose DevClose;
    PDSAllocAndAnnounceBuffer DSAllocAndAnnounceBuffer;
    PDSFlushQueue DSFlushQueue;
    PDSStartAcquisition DSStartAcquisition;
    PDSStopAcquisition DSStopAcquisition;
    PDSGetInfo DSGetInfo;
    PDSClose DSClose;
    PDSRevokeBuffer DSRevokeBuffer;
    PDSQueueBuffer DSQueueBuffer;
    PDSGetBufferInfo DSGetBufferInfo;
    PDSGetNumBufferParts DSGetNumBufferParts;
    PDSGetBufferPartInfo DSGetBufferPartInfo;
} gentl;

static void* g_library;

/* ---- failing ------------------------------------------------------------------------------------ */

/* What the test is doing, for the watchdog's message. */
static const char* volatile g_phase = "loading the producer";

__attribute__((format(printf, 1, 2))) _Noreturn static void Fail(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    fputs("FAILED: ", stderr);
    vfprintf(stderr, format, arguments);
    fputc('\n', stderr);
    va_end(arguments);
    fflush(stdout);
    fflush(stderr);
    /* Threads may still be blocked in the producer: leave without running its destructors. */
    _exit(1);
}

static const char* LastErrorText(void) {
    static char text[1024];
    GC_ERROR code = 0;
    size_t size = sizeof text;
    text[0] = '\0';
    if (gentl.GCGetLastError == NULL || gentl.GCGetLastError(&code, text, &size) != GC_ERR_SUCCESS)
        return "(no last-error text)";
    return text;
}

/* Every call's result is checked; the failure names the call and the producer's own text. */
static void Check(GC_ERROR result, const char* call) {
    if (result != GC_ERR_SUCCESS) Fail("%s answered %d: %s", call, (int)result, LastErrorText());
}
#define CHECK(call) Check((call), #call)

static void OnWatchdog(int signalNumber) {
    (void)signalNumber;
    static const char prefix[] = "FAILED: watchdog: no end after the time limit (a hang?) while ";
    const char* phase = g_phase;
    ssize_t ignored = write(STDERR_FILENO, prefix, sizeof prefix - 1);
    ignored = write(STDERR_FILENO, phase, strlen(phase));
    ignored = write(STDERR_FILENO, "\n", 1);
    (void)ignored;
    _exit(2);
}

static void StartWatchdog(void) {
    struct sigaction action;
    memset(&action, 0, sizeof action);
    action.sa_handler = OnWatchdog;
    sigemptyset(&action.sa_mask);
    sigaction(SIGALRM, &action, NULL);
    alarm(kWatchdogSeconds);
}

/* ---- loading -------------------------------------------------------------------------------------- */

static void* Resolve(const char* name) {
    void* symbol = dlsym(g_library, name);
    if (symbol == NULL) Fail("the producer exports no %s", name);
    return symbol;
}

/* Object pointers and function pointers share a representation wherever dlsym exists; the copy
 * keeps ISO C from complaining about the conversion. */
#define RESOLVE(function) memcpy(&gentl.function, &(void*){Resolve(#function)}, sizeof gentl.function)

static void LoadProducer(const char* path) {
    g_library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (g_library == NULL) Fail("dlopen(%s): %s", path, dlerror());
    RESOLVE(GCGetLastError);
    RESOLVE(GCInitLib);
    RESOLVE(GCCloseLib);
    RESOLVE(GCReadPort);
    RESOLVE(GCWritePort);
    RESOLVE(GCGetNumPortURLs);
    RESOLVE(GCGetPortURLInfo);
    RESOLVE(GCRegisterEvent);
    RESOLVE(GCUnregisterEvent);
    RESOLVE(EventGetData);
    RESOLVE(EventKill);
    RESOLVE(TLOpen);
    RESOLVE(TLClose);
    RESOLVE(TLGetNumInterfaces);
    RESOLVE(TLGetInterfaceID);
    RESOLVE(TLOpenInterface);
    RESOLVE(TLUpdateInterfaceList);
    RESOLVE(IFClose);
    RESOLVE(IFGetNumDevices);
    RESOLVE(IFGetDeviceID);
    RESOLVE(IFUpdateDeviceList);
    RESOLVE(IFGetDeviceInfo);
    RESOLVE(IFOpenDevice);
    RESOLVE(DevGetPort);
    RESOLVE(DevGetNumDataStreams);
    RESOLVE(DevGetDataStreamID);
    RESOLVE(DevOpenDataStream);
    RESOLVE(DevClose);
    RESOLVE(DSAllocAndAnnounceBuffer);
    RESOLVE(DSFlushQueue);
    RESOLVE(DSStartAcquisition);
    RESOLVE(DSStopAcquisition);
    RESOLVE(DSGetInfo);
    RESOLVE(DSClose);
    RESOLVE(DSRevokeBuffer);
    RESOLVE(DSQueueBuffer);
    RESOLVE(DSGetBufferInfo);
    RESOLVE(DSGetNumBufferParts);
    RESOLVE(DSGetBufferPartInfo);
}

/* ---- info answers ----------------------------------------------------------------------------------- */

/* Strings are asked for twice, as consumers do: first the size (null buffer), then the text. The
 * caller frees the answer. */
typedef GC_ERROR (*StringQuery)(const void* context, INFO_DATATYPE* type, void* buffer, size_t* size);

static char* AskString(StringQuery query, const void* context, const char* what) {
    INFO_DATATYPE type = INFO_DATATYPE_UNKNOWN;
    size_t size = 0;
    Check(query(context, &type, NULL, &size), what);
    if (size == 0) Fail("%s: the size asked for is 0 (a string's size counts its terminator)", what);
    char* text = calloc(1, size + 1);
    if (text == NULL) Fail("out of memory");
    size_t filled = size;
    Check(query(context, &type, text, &filled), what);
    if (type != INFO_DATATYPE_STRING) Fail("%s: data type %d, not INFO_DATATYPE_STRING", what, (int)type);
    if (filled > size || memchr(text, '\0', size) == NULL) Fail("%s: answer not terminated within its size", what);
    return text;
}

/* An integer answer in whichever integer type the producer reports. */
static uint64_t IntegerAnswer(INFO_DATATYPE type, const void* value, size_t size, const char* what) {
    switch (type) {
    case INFO_DATATYPE_SIZET: { size_t v; if (size != sizeof v) break; memcpy(&v, value, sizeof v); return v; }
    case INFO_DATATYPE_UINT64: { uint64_t v; if (size != sizeof v) break; memcpy(&v, value, sizeof v); return v; }
    case INFO_DATATYPE_INT64: { int64_t v; if (size != sizeof v) break; memcpy(&v, value, sizeof v); return (uint64_t)v; }
    case INFO_DATATYPE_UINT32: { uint32_t v; if (size != sizeof v) break; memcpy(&v, value, sizeof v); return v; }
    case INFO_DATATYPE_INT32: { int32_t v; if (size != sizeof v) break; memcpy(&v, value, sizeof v); return (uint64_t)v; }
    case INFO_DATATYPE_UINT16: { uint16_t v; if (size != sizeof v) break; memcpy(&v, value, sizeof v); return v; }
    case INFO_DATATYPE_BOOL8: { uint8_t v; if (size != sizeof v) break; memcpy(&v, value, sizeof v); return v; }
    default: Fail("%s: data type %d is not an integer type", what, (int)type);
    }
    Fail("%s: data type %d with size %zu", what, (int)type, size);
}

struct DeviceQuery {
    IF_HANDLE iface;
    const char* deviceId;
    DEVICE_INFO_CMD command;
};

static GC_ERROR QueryDeviceInfo(const void* context, INFO_DATATYPE* type, void* buffer, size_t* size) {
    const struct DeviceQuery* query = context;
    return gentl.IFGetDeviceInfo(query->iface, query->deviceId, query->command, type, buffer, size);
}

struct IndexQuery {
    void* handle;
    uint32_t index;
    int kind; /* 0 interface ID, 1 device ID, 2 stream ID */
};

static GC_ERROR QueryId(const void* context, INFO_DATATYPE* type, void* buffer, size_t* size) {
    const struct IndexQuery* query = context;
    *type = INFO_DATATYPE_STRING;
    switch (query->kind) {
    case 0: return gentl.TLGetInterfaceID(query->handle, query->index, buffer, size);
    case 1: return gentl.IFGetDeviceID(query->handle, query->index, buffer, size);
    default: return gentl.DevGetDataStreamID(query->handle, query->index, buffer, size);
    }
}

static GC_ERROR QueryUrl(const void* context, INFO_DATATYPE* type, void* buffer, size_t* size) {
    return gentl.GCGetPortURLInfo((PORT_HANDLE)context, 0, URL_INFO_URL, type, buffer, size);
}

static uint64_t BufferInfo(DS_HANDLE stream, BUFFER_HANDLE buffer, BUFFER_INFO_CMD command, const char* what) {
    unsigned char value[16] = {0};
    size_t size = sizeof value;
    INFO_DATATYPE type = INFO_DATATYPE_UNKNOWN;
    Check(gentl.DSGetBufferInfo(stream, buffer, command, &type, value, &size), what);
    return IntegerAnswer(type, value, size, what);
}

static uint64_t PartInfo(DS_HANDLE stream, BUFFER_HANDLE buffer, uint32_t part, BUFFER_PART_INFO_CMD command,
                         const char* what) {
    unsigned char value[16] = {0};
    size_t size = sizeof value;
    INFO_DATATYPE type = INFO_DATATYPE_UNKNOWN;
    Check(gentl.DSGetBufferPartInfo(stream, buffer, part, command, &type, value, &size), what);
    return IntegerAnswer(type, value, size, what);
}

static void* PointerAnswer(GC_ERROR result, INFO_DATATYPE type, const void* value, size_t size, const char* what) {
    Check(result, what);
    void* pointer = NULL;
    if (type != INFO_DATATYPE_PTR || size != sizeof pointer)
        Fail("%s: data type %d with size %zu, not a pointer", what, (int)type, size);
    memcpy(&pointer, value, sizeof pointer);
    return pointer;
}

/* ---- the description file --------------------------------------------------------------------------- */

struct Bytes {
    unsigned char* data;
    size_t size;
};

static uint32_t Little16(const unsigned char* p) { return (uint32_t)p[0] | (uint32_t)p[1] << 8; }
static uint32_t Little32(const unsigned char* p) { return Little16(p) | Little16(p + 2) << 16; }

/* The first entry of a zip archive, found through the central directory (its sizes are always
 * there, unlike the local header's), stored or raw-deflated. */
static char* UnzipFirstEntry(const struct Bytes* archive, size_t* length) {
    const unsigned char* bytes = archive->data;
    const size_t size = archive->size;
    if (size < 22) Fail("description archive: %zu bytes is too short for a zip archive", size);
    size_t end = size - 22;
    for (;;) { /* the end record, behind which only its comment (up to 64 KiB) may follow */
        if (Little32(bytes + end) == 0x06054b50u) break;
        if (end == 0 || size - end > 22 + 0xFFFFu) Fail("description archive: no end-of-central-directory record");
        --end;
    }
    const uint32_t entries = Little16(bytes + end + 10);
    const uint32_t directory = Little32(bytes + end + 16);
    if (entries < 1) Fail("description archive: no entries");
    if (directory > end || end - directory < 46 || Little32(bytes + directory) != 0x02014b50u)
        Fail("description archive: bad central directory at %" PRIu32, directory);
    const unsigned char* central = bytes + directory;
    const uint32_t method = Little16(central + 10);
    const uint32_t packedSize = Little32(central + 20);
    const uint32_t fullSize = Little32(central + 24);
    const uint32_t localOffset = Little32(central + 42);
    if (localOffset > size || size - localOffset < 30 || Little32(bytes + localOffset) != 0x04034b50u)
        Fail("description archive: bad local header at %" PRIu32, localOffset);
    const size_t dataOffset =
        (size_t)localOffset + 30 + Little16(bytes + localOffset + 26) + Little16(bytes + localOffset + 28);
    if (dataOffset > size || size - dataOffset < packedSize) Fail("description archive: entry data out of bounds");

    char* text = malloc((size_t)fullSize + 1);
    if (text == NULL) Fail("out of memory");
    if (method == 0) {
        if (packedSize != fullSize) Fail("description archive: stored entry with sizes %u and %u", packedSize, fullSize);
        memcpy(text, bytes + dataOffset, fullSize);
    } else if (method == 8) {
        z_stream inflater;
        memset(&inflater, 0, sizeof inflater);
        if (inflateInit2(&inflater, -MAX_WBITS) != Z_OK) Fail("inflateInit2 failed");
        inflater.next_in = (Bytef*)(bytes + dataOffset);
        inflater.avail_in = packedSize;
        inflater.next_out = (Bytef*)text;
        inflater.avail_out = fullSize;
        const int status = inflate(&inflater, Z_FINISH);
        const uLong produced = inflater.total_out;
        inflateEnd(&inflater);
        if (status != Z_STREAM_END || produced != fullSize)
            Fail("description archive: inflate ended with %d after %lu of %u bytes", status, produced, fullSize);
    } else {
        Fail("description archive: compression method %u is neither stored nor deflated", method);
    }
    text[fullSize] = '\0';
    *length = fullSize;
    return text;
}

/* local:[///]name;<hex address>;<hex length>[?query], scheme in any case. */
struct LocalUrl {
    char name[256];
    uint64_t address;
    uint64_t length;
};

static struct LocalUrl ParseLocalUrl(const char* url) {
    struct LocalUrl parsed;
    memset(&parsed, 0, sizeof parsed);
    if (strncasecmp(url, "local:", 6) != 0) Fail("description URL \"%s\" is not a local: URL", url);
    const char* name = url + 6;
    while (*name == '/') ++name;
    const char* semicolon = strchr(name, ';');
    if (semicolon == NULL || semicolon == name || (size_t)(semicolon - name) >= sizeof parsed.name)
        Fail("description URL \"%s\": no file name before ';'", url);
    memcpy(parsed.name, name, (size_t)(semicolon - name));

    const char* field = semicolon + 1;
    char* end = NULL;
    if (!isxdigit((unsigned char)*field)) Fail("description URL \"%s\": the address is not hexadecimal", url);
    errno = 0;
    parsed.address = strtoull(field, &end, 16);
    if (errno != 0 || *end != ';') Fail("description URL \"%s\": bad address", url);
    field = end + 1;
    if (!isxdigit((unsigned char)*field)) Fail("description URL \"%s\": the length is not hexadecimal", url);
    errno = 0;
    parsed.length = strtoull(field, &end, 16);
    if (errno != 0 || (*end != '\0' && *end != '?')) Fail("description URL \"%s\": bad length", url);
    if (parsed.length == 0) Fail("description URL \"%s\": length 0", url);
    return parsed;
}

static int EndsWithIgnoringCase(const char* text, const char* suffix) {
    const size_t length = strlen(text), suffixLength = strlen(suffix);
    return length >= suffixLength && strcasecmp(text + length - suffixLength, suffix) == 0;
}

/* The element <Kind ... Name="name" ...> ... </Kind>: its kind and body. */
struct Node {
    char kind[32];
    const char* body;
    const char* bodyEnd;
};

static int FindNode(const char* xml, const char* name, struct Node* node) {
    char attribute[160];
    snprintf(attribute, sizeof attribute, "Name=\"%s\"", name);
    for (const char* at = strstr(xml, attribute); at != NULL; at = strstr(at + 1, attribute)) {
        if (at == xml || !isspace((unsigned char)at[-1])) continue; /* e.g. pName="..." */
        const char* open = at;
        while (open > xml && *open != '<' && *open != '>') --open;
        if (*open != '<') continue; /* inside text, not a tag */
        size_t kindLength = 0;
        while (open[1 + kindLength] != '\0' && !isspace((unsigned char)open[1 + kindLength])) ++kindLength;
        if (kindLength == 0 || kindLength >= sizeof node->kind) continue;
        memcpy(node->kind, open + 1, kindLength);
        node->kind[kindLength] = '\0';
        const char* tagEnd = strchr(at, '>');
        if (tagEnd == NULL) return 0;
        node->body = tagEnd + 1;
        if (tagEnd[-1] == '/') { /* <Kind Name="x"/> */
            node->bodyEnd = node->body;
            return 1;
        }
        char closing[40];
        snprintf(closing, sizeof closing, "</%s>", node->kind);
        node->bodyEnd = strstr(node->body, closing);
        return node->bodyEnd != NULL;
    }
    return 0;
}

/* The text of <element>text</element> within a node's body (the first one). */
static int ChildText(const struct Node* node, const char* element, char* text, size_t capacity) {
    char opening[48], closing[48];
    snprintf(opening, sizeof opening, "<%s>", element);
    snprintf(closing, sizeof closing, "</%s>", element);
    const char* start = strstr(node->body, opening);
    if (start == NULL || start >= node->bodyEnd) return 0;
    start += strlen(opening);
    const char* stop = strstr(start, closing);
    if (stop == NULL || stop > node->bodyEnd) return 0;
    while (start < stop && isspace((unsigned char)*start)) ++start;
    while (stop > start && isspace((unsigned char)stop[-1])) --stop;
    if ((size_t)(stop - start) >= capacity) return 0;
    memcpy(text, start, (size_t)(stop - start));
    text[stop - start] = '\0';
    return 1;
}

/* GenICam integers are decimal or 0x-prefixed hexadecimal. */
static int64_t NodeInteger(const struct Node* node, const char* element, const char* feature) {
    char text[64];
    if (!ChildText(node, element, text, sizeof text)) Fail("description: %s has no <%s>", feature, element);
    char* end = NULL;
    errno = 0;
    const long long value = strtoll(text, &end, 0);
    if (errno != 0 || end == text || *end != '\0') Fail("description: %s <%s> \"%s\" is not an integer", feature, element, text);
    return value;
}

struct Register {
    uint64_t address;
    size_t length;
    int bigEndian;
};

static int IsRegisterKind(const char* kind) {
    return strcmp(kind, "IntReg") == 0 || strcmp(kind, "FloatReg") == 0;
}

/* The register behind a feature: the feature's own node if it is a register, else the register
 * its <pValue> names (followed a few levels, as an Integer may point at another Integer). */
static struct Register FindRegister(const char* xml, const char* feature, struct Node* featureNode) {
    char name[128];
    snprintf(name, sizeof name, "%s", feature);
    struct Node node;
    for (int depth = 0; depth < 4; ++depth) {
        if (!FindNode(xml, name, &node)) Fail("description: no node named %s (for %s)", name, feature);
        if (depth == 0 && featureNode != NULL) *featureNode = node;
        if (IsRegisterKind(node.kind)) {
            char text[32];
            if (ChildText(&node, "pAddress", text, sizeof text) || ChildText(&node, "pIndex", text, sizeof text))
                Fail("description: register %s has a computed address, which this consumer does not follow", name);
            struct Register reg;
            reg.address = (uint64_t)NodeInteger(&node, "Address", name);
            const int64_t length = NodeInteger(&node, "Length", name);
            if (length < 1 || length > 8) Fail("description: register %s has length %" PRId64, name, length);
            reg.length = (size_t)length;
            reg.bigEndian = ChildText(&node, "Endianess", text, sizeof text) && strcmp(text, "BigEndian") == 0;
            return reg;
        }
        if (!ChildText(&node, "pValue", name, sizeof name))
            Fail("description: %s (%s) is neither a register nor names one in <pValue>", feature, node.kind);
    }
    Fail("description: %s: <pValue> chain too deep", feature);
}

static void WriteRegister(PORT_HANDLE port, const struct Register* reg, uint64_t value, const char* feature) {
    unsigned char bytes[8];
    for (size_t index = 0; index < reg->length; ++index) {
        const size_t shift = 8 * (reg->bigEndian ? reg->length - 1 - index : index);
        bytes[index] = (unsigned char)(value >> shift);
    }
    size_t size = reg->length;
    char what[160];
    snprintf(what, sizeof what, "GCWritePort(%s at 0x%" PRIX64 ")", feature, reg->address);
    Check(gentl.GCWritePort(port, reg->address, bytes, &size), what);
    if (size != reg->length) Fail("%s wrote %zu of %zu bytes", what, size, reg->length);
}

static uint64_t ReadRegister(PORT_HANDLE port, const struct Register* reg, const char* feature) {
    unsigned char bytes[8] = {0};
    size_t size = reg->length;
    char what[160];
    snprintf(what, sizeof what, "GCReadPort(%s at 0x%" PRIX64 ")", feature, reg->address);
    Check(gentl.GCReadPort(port, reg->address, bytes, &size), what);
    if (size != reg->length) Fail("%s read %zu of %zu bytes", what, size, reg->length);
    uint64_t value = 0;
    for (size_t index = 0; index < reg->length; ++index) {
        const size_t shift = 8 * (reg->bigEndian ? reg->length - 1 - index : index);
        value |= (uint64_t)bytes[index] << shift;
    }
    return value;
}

static void SetInteger(PORT_HANDLE port, const char* xml, const char* feature, uint64_t value) {
    const struct Register reg = FindRegister(xml, feature, NULL);
    WriteRegister(port, &reg, value, feature);
    const uint64_t readBack = ReadRegister(port, &reg, feature);
    if (readBack != value) Fail("%s reads back %" PRIu64 " after writing %" PRIu64, feature, readBack, value);
}

static void Execute(PORT_HANDLE port, const char* xml, const char* command) {
    struct Node node;
    const struct Register reg = FindRegister(xml, command, &node);
    if (strcmp(node.kind, "Command") != 0) Fail("description: %s is a %s, not a Command", command, node.kind);
    WriteRegister(port, &reg, (uint64_t)NodeInteger(&node, "CommandValue", command), command);
}

static uint64_t EnumEntryValue(const char* xml, const char* enumeration, const char* entry) {
    struct Node node;
    if (!FindNode(xml, enumeration, &node) || strcmp(node.kind, "Enumeration") != 0)
        Fail("description: no Enumeration %s", enumeration);
    /* The entries are nodes of their own inside the enumeration's body. */
    const size_t bodyLength = (size_t)(node.bodyEnd - node.body);
    char* body = malloc(bodyLength + 1);
    if (body == NULL) Fail("out of memory");
    memcpy(body, node.body, bodyLength);
    body[bodyLength] = '\0';
    struct Node entryNode;
    if (!FindNode(body, entry, &entryNode) || strcmp(entryNode.kind, "EnumEntry") != 0)
        Fail("description: %s has no entry %s", enumeration, entry);
    const uint64_t value = (uint64_t)NodeInteger(&entryNode, "Value", entry);
    free(body);
    return value;
}

static char* ReadDescription(PORT_HANDLE port) {
    uint32_t urlCount = 0;
    CHECK(gentl.GCGetNumPortURLs(port, &urlCount));
    if (urlCount < 1) Fail("the remote device's port offers no description URL");
    char* url = AskString(QueryUrl, port, "GCGetPortURLInfo(URL_INFO_URL)");
    const struct LocalUrl location = ParseLocalUrl(url);
    printf("description: %s -> %s, %" PRIu64 " bytes at 0x%" PRIX64 "\n", url, location.name, location.length,
           location.address);

    struct Bytes file;
    file.size = (size_t)location.length;
    file.data = malloc(file.size);
    if (file.data == NULL) Fail("out of memory for %zu description bytes", file.size);
    size_t size = file.size;
    CHECK(gentl.GCReadPort(port, location.address, file.data, &size));
    if (size != file.size) Fail("GCReadPort read %zu of the description's %zu bytes", size, file.size);

    const int zipped = EndsWithIgnoringCase(location.name, ".zip");
    const int zipMagic = file.size >= 4 && memcmp(file.data, "PK\x03\x04", 4) == 0;
    char* xml = NULL;
    size_t xmlLength = 0;
    if (zipped) {
        if (!zipMagic) Fail("description %s is named .zip but does not start with a zip local header", location.name);
        xml = UnzipFirstEntry(&file, &xmlLength);
    } else {
        xml = malloc(file.size + 1);
        if (xml == NULL) Fail("out of memory");
        memcpy(xml, file.data, file.size);
        xml[file.size] = '\0';
        xmlLength = file.size;
    }
    const char* start = xml;
    if (xmlLength >= 3 && memcmp(start, "\xEF\xBB\xBF", 3) == 0) start += 3; /* byte-order mark */
    while (isspace((unsigned char)*start)) ++start;
    if (strncmp(start, "<?xml", 5) != 0 && *start != '<') Fail("description %s is not XML", location.name);
    if (strstr(start, "<RegisterDescription") == NULL) Fail("description %s has no RegisterDescription", location.name);
    if (strlen(xml) != xmlLength) Fail("description %s contains a zero byte", location.name);
    printf("description: %zu bytes of XML%s\n", xmlLength, zipped ? " (unzipped)" : "");
    free(file.data);
    free(url);
    return xml;
}

/* ---- discovery --------------------------------------------------------------------------------------- */

struct Target {
    char* interfaceId;
    char* deviceId;
};

static char* DeviceInfoString(IF_HANDLE iface, const char* deviceId, DEVICE_INFO_CMD command, const char* what) {
    const struct DeviceQuery query = {iface, deviceId, command};
    return AskString(QueryDeviceInfo, &query, what);
}

static struct Target ListEverything(TL_HANDLE system) {
    struct Target target = {NULL, NULL};
    bool8_t changed = 0;
    CHECK(gentl.TLUpdateInterfaceList(system, &changed, 1000));
    uint32_t interfaceCount = 0;
    CHECK(gentl.TLGetNumInterfaces(system, &interfaceCount));
    if (interfaceCount == 0) Fail("the producer lists no interfaces");
    for (uint32_t interfaceIndex = 0; interfaceIndex < interfaceCount; ++interfaceIndex) {
        const struct IndexQuery interfaceQuery = {system, interfaceIndex, 0};
        char* interfaceId = AskString(QueryId, &interfaceQuery, "TLGetInterfaceID");
        IF_HANDLE iface = NULL;
        CHECK(gentl.TLOpenInterface(system, interfaceId, &iface));
        CHECK(gentl.IFUpdateDeviceList(iface, &changed, 1000));
        uint32_t deviceCount = 0;
        CHECK(gentl.IFGetNumDevices(iface, &deviceCount));
        printf("interface %s: %" PRIu32 " device(s)\n", interfaceId, deviceCount);
        for (uint32_t deviceIndex = 0; deviceIndex < deviceCount; ++deviceIndex) {
            const struct IndexQuery deviceQuery = {iface, deviceIndex, 1};
            char* deviceId = AskString(QueryId, &deviceQuery, "IFGetDeviceID");
            char* model = DeviceInfoString(iface, deviceId, DEVICE_INFO_MODEL, "IFGetDeviceInfo(DEVICE_INFO_MODEL)");
            char* serial =
                DeviceInfoString(iface, deviceId, DEVICE_INFO_SERIAL_NUMBER, "IFGetDeviceInfo(DEVICE_INFO_SERIAL_NUMBER)");
            char* vendor = DeviceInfoString(iface, deviceId, DEVICE_INFO_VENDOR, "IFGetDeviceInfo(DEVICE_INFO_VENDOR)");
            printf("  device %s: vendor \"%s\", model \"%s\", serial \"%s\"\n", deviceId, vendor, model, serial);
            if (strcmp(serial, kSerialNumber) == 0 && strcmp(interfaceId, kInterfaceName) == 0) {
                if (target.deviceId != NULL) Fail("serial number %s listed twice on %s", serial, interfaceId);
                target.interfaceId = strdup(interfaceId);
                target.deviceId = strdup(deviceId);
            }
            free(model);
            free(serial);
            free(vendor);
            free(deviceId);
        }
        CHECK(gentl.IFClose(iface));
        free(interfaceId);
    }
    if (target.deviceId == NULL) Fail("no device with serial number %s on interface %s", kSerialNumber, kInterfaceName);
    return target;
}

/* ---- acquisition -------------------------------------------------------------------------------------- */

struct Stream {
    DS_HANDLE handle;
    EVENT_HANDLE newBuffer;
    BUFFER_HANDLE buffers[kBufferCount];
    uint64_t pixelFormat;
};

/* The private pointer a buffer was announced with: its index + 1, never null. */
static void* BufferTag(size_t index) { return (void*)(uintptr_t)(index + 1); }

static void CheckImage(const struct Stream* stream, BUFFER_HANDLE buffer, const char* where) {
    uint32_t parts = 0;
    const GC_ERROR partsResult = gentl.DSGetNumBufferParts(stream->handle, buffer, &parts);
    if (partsResult == GC_ERR_NO_DATA) {
        /* Not a multi-part buffer: the buffer is the one image. */
        const uint64_t width = BufferInfo(stream->handle, buffer, BUFFER_INFO_WIDTH, "DSGetBufferInfo(WIDTH)");
        const uint64_t height = BufferInfo(stream->handle, buffer, BUFFER_INFO_HEIGHT, "DSGetBufferInfo(HEIGHT)");
        const uint64_t format = BufferInfo(stream->handle, buffer, BUFFER_INFO_PIXELFORMAT, "DSGetBufferInfo(PIXELFORMAT)");
        void* base = NULL;
        size_t size = sizeof base;
        INFO_DATATYPE type = INFO_DATATYPE_UNKNOWN;
        const GC_ERROR result = gentl.DSGetBufferInfo(stream->handle, buffer, BUFFER_INFO_BASE, &type, &base, &size);
        base = PointerAnswer(result, type, &base, size, "DSGetBufferInfo(BASE)");
        if (width != kImageWidth || height != kImageHeight || format != stream->pixelFormat || base == NULL)
            Fail("%s: image %" PRIu64 " x %" PRIu64 ", format 0x%" PRIX64 ", data %p; expected %d x %d, 0x%" PRIX64
                 ", data",
                 where, width, height, format, base, kImageWidth, kImageHeight, stream->pixelFormat);
        return;
    }
    Check(partsResult, "DSGetNumBufferParts");
    if (parts == 0) Fail("%s: DSGetNumBufferParts says the buffer holds no image", where);
    for (uint32_t part = 0; part < parts; ++part) {
        const uint64_t width = PartInfo(stream->handle, buffer, part, BUFFER_PART_INFO_WIDTH, "DSGetBufferPartInfo(WIDTH)");
        const uint64_t height =
            PartInfo(stream->handle, buffer, part, BUFFER_PART_INFO_HEIGHT, "DSGetBufferPartInfo(HEIGHT)");
        const uint64_t format =
            PartInfo(stream->handle, buffer, part, BUFFER_PART_INFO_DATA_FORMAT, "DSGetBufferPartInfo(DATA_FORMAT)");
        void* base = NULL;
        size_t size = sizeof base;
        INFO_DATATYPE type = INFO_DATATYPE_UNKNOWN;
        const GC_ERROR result =
            gentl.DSGetBufferPartInfo(stream->handle, buffer, part, BUFFER_PART_INFO_BASE, &type, &base, &size);
        base = PointerAnswer(result, type, &base, size, "DSGetBufferPartInfo(BASE)");
        if (width != kImageWidth || height != kImageHeight || format != stream->pixelFormat || base == NULL)
            Fail("%s: part %" PRIu32 " is %" PRIu64 " x %" PRIu64 ", format 0x%" PRIX64 ", data %p; expected %d x %d, 0x%" PRIX64,
                 where, part, width, height, format, base, kImageWidth, kImageHeight, stream->pixelFormat);
    }
}

/* A delivered buffer must be one of ours, carrying the private pointer it was announced with. */
static void CheckDelivery(const struct Stream* stream, const S_EVENT_NEW_BUFFER* data, size_t size) {
    if (size != sizeof *data) Fail("EventGetData filled %zu bytes of S_EVENT_NEW_BUFFER's %zu", size, sizeof *data);
    for (size_t index = 0; index < kBufferCount; ++index)
        if (stream->buffers[index] == data->BufferHandle) {
            if (data->pUserPointer != BufferTag(index))
                Fail("buffer %zu delivered with user pointer %p, announced with %p", index, data->pUserPointer,
                     BufferTag(index));
            return;
        }
    Fail("EventGetData delivered a buffer handle that was never announced");
}

/* ---- EventKill racing a stream thread --------------------------------------------------------------- */

/* One round: the main thread releases the stream thread into EventGetData(GENTL_INFINITE) and
 * kills the event at a random moment: before the release, right after it, after some spinning
 * or after a short sleep. The stream thread requeues any buffer it receives and waits again,
 * until a wait ends otherwise; that result (which must be GC_ERR_ABORT) ends the round. The
 * main thread waits for it with a bound, so a lost kill is reported, not hung on. */
struct Race {
    pthread_mutex_t mutex;
    pthread_cond_t changed;
    int startedRound; /* written by the main thread */
    int finishedRound; /* written by the stream thread */
    GC_ERROR result;
    int quit;
    unsigned long buffers; /* received during the rounds */
    unsigned long roundBuffers; /* received in the current round, for the failure message */
    const struct Stream* stream;
};

static void* StreamThread(void* argument) {
    struct Race* race = argument;
    int round = 0;
    for (;;) {
        pthread_mutex_lock(&race->mutex);
        while (race->startedRound == round && !race->quit) pthread_cond_wait(&race->changed, &race->mutex);
        if (race->quit) {
            pthread_mutex_unlock(&race->mutex);
            return NULL;
        }
        round = race->startedRound;
        pthread_mutex_unlock(&race->mutex);

        GC_ERROR result;
        for (;;) {
            S_EVENT_NEW_BUFFER data;
            size_t size = sizeof data;
            result = gentl.EventGetData(race->stream->newBuffer, &data, &size, GENTL_INFINITE);
            if (result != GC_ERR_SUCCESS) break;
            CheckDelivery(race->stream, &data, size);
            CHECK(gentl.DSQueueBuffer(race->stream->handle, data.BufferHandle));
            pthread_mutex_lock(&race->mutex);
            ++race->roundBuffers;
            ++race->buffers;
            pthread_mutex_unlock(&race->mutex);
        }

        pthread_mutex_lock(&race->mutex);
        race->finishedRound = round;
        race->result = result;
        pthread_cond_broadcast(&race->changed);
        pthread_mutex_unlock(&race->mutex);
    }
}

static uint64_t g_random;

static uint32_t NextRandom(void) { /* xorshift64* */
    g_random ^= g_random >> 12;
    g_random ^= g_random << 25;
    g_random ^= g_random >> 27;
    return (uint32_t)((g_random * 0x2545F4914F6CDD1DULL) >> 32);
}

static void ReleaseRound(struct Race* race, int round) {
    pthread_mutex_lock(&race->mutex);
    race->startedRound = round;
    race->roundBuffers = 0;
    pthread_cond_broadcast(&race->changed);
    pthread_mutex_unlock(&race->mutex);
}

static void RaceKills(struct Stream* stream) {
    struct Race race;
    memset(&race, 0, sizeof race);
    race.stream = stream;
    pthread_mutex_init(&race.mutex, NULL);
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&race.changed, &attributes);
    pthread_condattr_destroy(&attributes);

    pthread_t thread;
    if (pthread_create(&thread, NULL, StreamThread, &race) != 0) Fail("cannot start the stream thread");

    int moments[4] = {0, 0, 0, 0};
    for (int round = 1; round <= kKillRounds; ++round) {
        const uint32_t moment = NextRandom() % 4;
        ++moments[moment];
        if (moment == 0) { /* the kill comes before the thread's wait begins */
            CHECK(gentl.EventKill(stream->newBuffer));
            ReleaseRound(&race, round);
        } else {
            ReleaseRound(&race, round);
            if (moment == 2) {
                volatile uint32_t spin = NextRandom() % 20000;
                while (spin > 0) spin = spin - 1;
            } else if (moment == 3) {
                struct timespec pause = {0, (long)(NextRandom() % 300000)};
                nanosleep(&pause, NULL);
            }
            CHECK(gentl.EventKill(stream->newBuffer));
        }

        struct timespec deadline;
        clock_gettime(CLOCK_MONOTONIC, &deadline);
        deadline.tv_sec += kRoundTimeoutSeconds;
        pthread_mutex_lock(&race.mutex);
        while (race.finishedRound != round) {
            if (pthread_cond_timedwait(&race.changed, &race.mutex, &deadline) == ETIMEDOUT)
                Fail("EventKill race, round %d of %d (kill moment %" PRIu32 "): no wait of the stream thread "
                     "ended with GC_ERR_ABORT within %d s of EventKill; %s (%lu buffer(s) delivered in this round)",
                     round, kKillRounds, moment, kRoundTimeoutSeconds,
                     race.roundBuffers > 0 ? "its waits kept delivering buffers: the kill was lost"
                                           : "its EventGetData(GENTL_INFINITE) is still blocked",
                     race.roundBuffers);
        }
        const GC_ERROR result = race.result;
        pthread_mutex_unlock(&race.mutex);
        if (result != GC_ERR_ABORT)
            Fail("EventKill race, round %d: the killed wait answered %d, not GC_ERR_ABORT: %s", round, (int)result,
                 LastErrorText());
    }

    pthread_mutex_lock(&race.mutex);
    race.quit = 1;
    pthread_cond_broadcast(&race.changed);
    pthread_mutex_unlock(&race.mutex);
    if (pthread_join(thread, NULL) != 0) Fail("cannot join the stream thread");
    pthread_cond_destroy(&race.changed);
    pthread_mutex_destroy(&race.mutex);
    printf("EventKill race: %d rounds (killed before the wait %d, at once %d, after spinning %d, after sleeping %d), "
           "%lu buffers received meanwhile\n",
           kKillRounds, moments[0], moments[1], moments[2], moments[3], race.buffers);
}

/* ---- main ------------------------------------------------------------------------------------------------- */

int main(int argc, char** argv) {
    if (argc < 2 || argc > 3) {
        fprintf(stderr, "usage: %s <path to the GenTL producer> [random seed]\n", argv[0]);
        return 2;
    }
    setvbuf(stdout, NULL, _IOLBF, 0);
    StartWatchdog();
    g_random = argc == 3 ? strtoull(argv[2], NULL, 0) : (uint64_t)time(NULL) ^ ((uint64_t)getpid() << 32);
    if (g_random == 0) g_random = 1;
    printf("random seed %" PRIu64 " (pass it as the second argument to repeat a run)\n", g_random);

    LoadProducer(argv[1]);

    g_phase = "listing interfaces and devices";
    CHECK(gentl.GCInitLib());
    TL_HANDLE system = NULL;
    CHECK(gentl.TLOpen(&system));
    const struct Target target = ListEverything(system);
    CHECK(gentl.TLClose(system));

    /* A second session opens the device by the IDs the first one learnt, without listing again. */
    g_phase = "reopening the system and the device";
    CHECK(gentl.TLOpen(&system));
    IF_HANDLE iface = NULL;
    CHECK(gentl.TLOpenInterface(system, target.interfaceId, &iface));
    DEV_HANDLE device = NULL;
    CHECK(gentl.IFOpenDevice(iface, target.deviceId, DEVICE_ACCESS_CONTROL, &device));
    PORT_HANDLE remote = NULL;
    CHECK(gentl.DevGetPort(device, &remote));
    printf("opened device %s on %s by its earlier ID\n", target.deviceId, target.interfaceId);

    g_phase = "reading the description file";
    char* xml = ReadDescription(remote);

    g_phase = "configuring the camera";
    struct Stream stream;
    memset(&stream, 0, sizeof stream);
    stream.pixelFormat = EnumEntryValue(xml, "PixelFormat", "Mono8");
    SetInteger(remote, xml, "Width", kImageWidth);
    SetInteger(remote, xml, "Height", kImageHeight);
    SetInteger(remote, xml, "PixelFormat", stream.pixelFormat);
    const struct Register payloadRegister = FindRegister(xml, "PayloadSize", NULL);

    uint32_t streamCount = 0;
    CHECK(gentl.DevGetNumDataStreams(device, &streamCount));
    if (streamCount < 1) Fail("the device has no data stream");
    const struct IndexQuery streamQuery = {device, 0, 2};
    char* streamId = AskString(QueryId, &streamQuery, "DevGetDataStreamID");
    CHECK(gentl.DevOpenDataStream(device, streamId, &stream.handle));

    /* The payload size comes from the stream when it says it defines it, else from the camera. */
    bool8_t streamDefinesPayload = 0;
    size_t infoSize = sizeof streamDefinesPayload;
    INFO_DATATYPE infoType = INFO_DATATYPE_UNKNOWN;
    CHECK(gentl.DSGetInfo(stream.handle, STREAM_INFO_DEFINES_PAYLOADSIZE, &infoType, &streamDefinesPayload, &infoSize));
    uint64_t payloadSize = 0;
    if (streamDefinesPayload) {
        unsigned char value[16] = {0};
        infoSize = sizeof value;
        CHECK(gentl.DSGetInfo(stream.handle, STREAM_INFO_PAYLOAD_SIZE, &infoType, value, &infoSize));
        payloadSize = IntegerAnswer(infoType, value, infoSize, "DSGetInfo(STREAM_INFO_PAYLOAD_SIZE)");
    } else {
        payloadSize = ReadRegister(remote, &payloadRegister, "PayloadSize");
    }
    if (payloadSize < (uint64_t)kImageWidth * kImageHeight)
        Fail("payload size %" PRIu64 " is smaller than a %d x %d Mono8 image", payloadSize, kImageWidth, kImageHeight);
    printf("stream %s: payload %" PRIu64 " bytes (from the %s)\n", streamId, payloadSize,
           streamDefinesPayload ? "stream" : "camera's PayloadSize");

    g_phase = "acquiring";
    for (size_t index = 0; index < kBufferCount; ++index) {
        CHECK(gentl.DSAllocAndAnnounceBuffer(stream.handle, (size_t)payloadSize, BufferTag(index), &stream.buffers[index]));
        CHECK(gentl.DSQueueBuffer(stream.handle, stream.buffers[index]));
    }
    CHECK(gentl.GCRegisterEvent(stream.handle, EVENT_NEW_BUFFER, &stream.newBuffer));
    CHECK(gentl.DSStartAcquisition(stream.handle, ACQ_START_FLAGS_DEFAULT, GENTL_INFINITE));
    struct Node lockNode;
    const int hasParamsLock = FindNode(xml, "TLParamsLocked", &lockNode);
    if (hasParamsLock) SetInteger(remote, xml, "TLParamsLocked", 1);
    Execute(remote, xml, "AcquisitionStart");

    for (int frame = 0; frame < kFramesToCheck; ++frame) {
        S_EVENT_NEW_BUFFER data;
        size_t size = sizeof data;
        const GC_ERROR result = gentl.EventGetData(stream.newBuffer, &data, &size, kFrameTimeoutMs);
        if (result == GC_ERR_TIMEOUT) Fail("frame %d: no buffer within %" PRIu64 " ms (acquisition hung?)", frame, kFrameTimeoutMs);
        Check(result, "EventGetData(EVENT_NEW_BUFFER)");
        CheckDelivery(&stream, &data, size);
        char where[32];
        snprintf(where, sizeof where, "frame %d", frame);
        CheckImage(&stream, data.BufferHandle, where);
        CHECK(gentl.DSQueueBuffer(stream.handle, data.BufferHandle));
    }
    printf("acquired %d frames of %d x %d, pixel format 0x%" PRIX64 "\n", kFramesToCheck, kImageWidth, kImageHeight,
           stream.pixelFormat);

    g_phase = "racing EventKill against the stream thread's wait";
    RaceKills(&stream);

    /* Every kill ended exactly one wait: none may be left over to end a later one. */
    g_phase = "acquiring after the race";
    for (int frame = 0; frame < kFramesAfterRace; ++frame) {
        S_EVENT_NEW_BUFFER data;
        size_t size = sizeof data;
        const GC_ERROR result = gentl.EventGetData(stream.newBuffer, &data, &size, kFrameTimeoutMs);
        if (result == GC_ERR_ABORT)
            Fail("after the race, a wait ended with GC_ERR_ABORT: a kill that had ended a wait was also kept for the next");
        if (result == GC_ERR_TIMEOUT) Fail("after the race: no buffer within %" PRIu64 " ms", kFrameTimeoutMs);
        Check(result, "EventGetData after the race");
        CheckDelivery(&stream, &data, size);
        CheckImage(&stream, data.BufferHandle, "after the race");
        CHECK(gentl.DSQueueBuffer(stream.handle, data.BufferHandle));
    }

    g_phase = "stopping";
    Execute(remote, xml, "AcquisitionStop");
    if (hasParamsLock) SetInteger(remote, xml, "TLParamsLocked", 0);
    CHECK(gentl.DSStopAcquisition(stream.handle, ACQ_STOP_FLAGS_DEFAULT));
    /* A stopped stream delivers what it had, then ends a wait at once instead of blocking. */
    g_phase = "waiting on the stopped stream (it must not block)";
    for (int attempt = 0;; ++attempt) {
        if (attempt > kBufferCount) Fail("the stopped stream delivered more buffers than were announced");
        S_EVENT_NEW_BUFFER data;
        size_t size = sizeof data;
        const GC_ERROR result = gentl.EventGetData(stream.newBuffer, &data, &size, GENTL_INFINITE);
        if (result == GC_ERR_ABORT) break;
        Check(result, "EventGetData on the stopped stream");
        CheckDelivery(&stream, &data, size);
    }

    g_phase = "tearing down";
    CHECK(gentl.GCUnregisterEvent(stream.handle, EVENT_NEW_BUFFER));
    CHECK(gentl.DSFlushQueue(stream.handle, ACQ_QUEUE_ALL_DISCARD));
    for (size_t index = 0; index < kBufferCount; ++index) {
        void* memory = NULL;
        void* tag = NULL;
        CHECK(gentl.DSRevokeBuffer(stream.handle, stream.buffers[index], &memory, &tag));
        if (tag != BufferTag(index)) Fail("DSRevokeBuffer gave back private pointer %p for buffer %zu, not %p", tag, index, BufferTag(index));
    }
    CHECK(gentl.DSClose(stream.handle));
    CHECK(gentl.DevClose(device));
    CHECK(gentl.IFClose(iface));
    CHECK(gentl.TLClose(system));
    CHECK(gentl.GCCloseLib());
    alarm(0);
    if (dlclose(g_library) != 0) Fail("dlclose: %s", dlerror());

    free(streamId);
    free(xml);
    free(target.interfaceId);
    free(target.deviceId);
    puts("foreign consumer: all checks passed");
    return 0;
}
