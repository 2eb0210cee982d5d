/* Extensions of the Vireo GenTL producer beyond the standard C API: GigE Vision address
 * management, unicast discovery, action commands, leader synchronisation and resend tuning,
 * the producer's own info commands, payload types and event types (the trigger edges of an
 * event-based sensor). Consumers that load a producer at run time must treat these functions
 * as optional: a vendor's producer may lack them. */
#ifndef GENTL_GENTLEXTENSIONS_H
#define GENTL_GENTLEXTENSIONS_H

#include <GenTL/GenTL.h>

#ifdef __cplusplus
extern "C" {
#endif
GENTL_BEGIN_NAMESPACE

/* Device info commands (DevGetInfo, IFGetDeviceInfo). Addresses are host-order integers. */
enum DEVICE_INFO_CMD_EXTENSION_LIST {
    DEVICE_INFO_IP_ADDRESS = 1002,                   /* UINT32 */
    DEVICE_INFO_SUBNET_MASK = 1003,                  /* UINT32 */
    DEVICE_INFO_MAC_ADDRESS = 1004,                  /* UINT64, the 48-bit MAC in the low bits */
    DEVICE_INFO_DEFAULT_GATEWAY = 1005,              /* UINT32 */
    DEVICE_INFO_DHCP_ENABLED = 1006,                 /* BOOL8 */
    DEVICE_INFO_PERSISTENT_IP_ENABLED = 1007,        /* BOOL8 */
    DEVICE_INFO_LLA_ENABLED = 1008,                  /* BOOL8 */
    DEVICE_INFO_DEVICE_GROUP_VERSION_MAJOR = 1011,   /* UINT64 */
    DEVICE_INFO_DEVICE_GROUP_VERSION_MINOR = 1012,   /* UINT64 */
    DEVICE_INFO_DEVICE_GROUP_ENABLE = 1013,          /* BOOL8 */
    DEVICE_INFO_DEVICE_GROUP_SERIAL = 1014,          /* STRING */
    DEVICE_INFO_DEVICE_GROUP_NAME = 1015,            /* STRING */
    DEVICE_INFO_DEVICE_GROUP_MEMBER_COUNT = 1016,    /* UINT64 */
    /* BOOL8: 1 while the device answers on its control channel, 0 once it is lost. */
    DEVICE_INFO_CONNECTION_STATUS = 1020,
    /* BOOL8: 1 when the current connection can carry the resend-capable GVRSP stream. */
    DEVICE_INFO_GVRSP_STREAMABLE = 1021
};

/* Interface info commands (IFGetInfo, TLGetInterfaceInfo): the host adapter the interface
 * stands for. */
enum INTERFACE_INFO_CMD_EXTENSION_LIST {
    INTERFACE_INFO_MAC_ADDRESS = 1001,               /* UINT64 */
    INTERFACE_INFO_IP_ADDRESS = 1002                 /* UINT32 */
};

/* Data stream info commands (DSGetInfo). */
enum STREAM_INFO_CMD_EXTENSION_LIST {
    /* BUFFER of four UINT64 taken at one instant: buffers announced, queued for filling, being
     * filled, and filled but not yet delivered. What is left of the announced ones is held by
     * the application, so a caller can check that no buffer went missing. */
    STREAM_INFO_BUFFER_CENSUS = 1001
};

/* Buffer info commands (DSGetBufferInfo). */
enum BUFFER_INFO_CMD_EXTENSION_LIST {
    /* UINT64, nanoseconds: host time at which the frame's leader packet arrived. */
    BUFFER_INFO_LEADER_RECEIVED_TIMESTAMP = 1001
};

/* Payload types (BUFFER_INFO_PAYLOADTYPE) beyond the standard list. */
enum PAYLOADTYPE_INFO_EXTENSION_IDS {
    PAYLOAD_TYPE_COMPRESSED_IMAGE = 1001,                 /* a QOI stream */
    PAYLOAD_TYPE_COMPRESSED_IMAGE_EXTENDED_CHUNK = 1002,  /* a QOI stream followed by chunks */
    PAYLOAD_TYPE_IMAGE_EXTENDED_CHUNK = 0x4001            /* GigE Vision image with chunks */
};

/* Event types (GCRegisterEvent) beyond the standard list. */
enum EVENT_TYPE_EXTENSION_LIST {
    /* Edges on the external trigger inputs of an event-based sensor, registered on the sensor's
     * data stream. EventGetData delivers one S_EVENT_NEW_EVS_TRIGGER per edge, oldest first;
     * edges are kept only while the event is registered. */
    EVENT_NEW_EVS_TRIGGER = EVENT_CUSTOM_ID + 1
};

/* The data of one EVENT_NEW_EVS_TRIGGER event: 16 bytes, no padding. */
typedef struct S_EVENT_NEW_EVS_TRIGGER {
    uint64_t TimestampUs; /* sensor time of the edge: microseconds since the acquisition started */
    uint32_t Channel;     /* the trigger input that saw the edge */
    int32_t Polarity;     /* 1: rising edge, 0: falling edge */
} S_EVENT_NEW_EVS_TRIGGER;

/* Forces a device, found by MAC address, to a temporary IP configuration. */
GC_API IFForceIp(IF_HANDLE hIface, uint64_t iMacAddress, uint32_t iIpAddress, uint32_t iSubnetMask,
                 uint32_t iDefaultGateway);
/* Unicast discovery: devices behind routers that broadcasts do not reach. */
GC_API IFAddUnicastDiscoveryDevice(IF_HANDLE hIface, uint32_t iIpAddress);
GC_API IFRemoveUnicastDiscoveryDevice(IF_HANDLE hIface, uint32_t iIpAddress);
/* piIpAddresses may be null to ask for the count only; *piCount is the capacity on entry. */
GC_API IFGetUnicastDiscoveryDevices(IF_HANDLE hIface, uint32_t* piIpAddresses, uint32_t* piCount);
/* Sends a GigE Vision action command to the devices that match the keys and mask. */
GC_API DevSendActionCommand(DEV_HANDLE hDevice, uint32_t iDeviceKey, uint32_t iGroupKey, uint32_t iGroupMask,
                            uint64_t iTimeout);
/* Blocks until the leader of the next frame has arrived, or the time-out (ms) expires. */
GC_API DSWaitForNextLeader(DS_HANDLE hDataStream, uint64_t iTimeout);
GC_API DSResetWaitForNextLeader(DS_HANDLE hDataStream);
/* Tunes packet resend from the camera's own figures, so that the producer can size its
 * resend window: frames kept for resend, frame rate, serial, firmware, width and height. */
GC_API DSSetupResendRetryParams(DS_HANDLE hDataStream, uint64_t iResendWindowFrameCount, double dFrameRate,
                                const char* sSerialNumber, const char* sFirmwareVersion, int32_t iWidth,
                                int32_t iHeight);

GC_API_P(PIFForceIp)(IF_HANDLE, uint64_t, uint32_t, uint32_t, uint32_t);
GC_API_P(PIFAddUnicastDiscoveryDevice)(IF_HANDLE, uint32_t);
GC_API_P(PIFRemoveUnicastDiscoveryDevice)(IF_HANDLE, uint32_t);
GC_API_P(PIFGetUnicastDiscoveryDevices)(IF_HANDLE, uint32_t*, uint32_t*);
GC_API_P(PDevSendActionCommand)(DEV_HANDLE, uint32_t, uint32_t, uint32_t, uint64_t);
GC_API_P(PDSWaitForNextLeader)(DS_HANDLE, uint64_t);
GC_API_P(PDSResetWaitForNextLeader)(DS_HANDLE);
GC_API_P(PDSSetupResendRetryParams)(DS_HANDLE, uint64_t, double, const char*, const char*, int32_t, int32_t);

GENTL_END_NAMESPACE
#ifdef __cplusplus
}
#endif

#endif
