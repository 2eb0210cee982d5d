#include "AravisClient.h"

namespace GvCameraTest {

namespace {

// Throws when the call set an error; the message names what was being done.
void Check(GError* error, const std::string& what) {
    if (error == nullptr) return;
    std::string message = what + ": " + (error->message != nullptr ? error->message : "unknown error");
    g_error_free(error);
    throw AravisError(message);
}

std::string Text(const char* text) { return text != nullptr ? text : ""; }

} // namespace

std::vector<AravisDeviceInfo> AravisDiscoverDevices() {
    arv_update_device_list();
    std::vector<AravisDeviceInfo> devices;
    const unsigned count = arv_get_n_devices();
    for (unsigned index = 0; index < count; ++index) {
        devices.push_back({Text(arv_get_device_id(index)), Text(arv_get_device_physical_id(index)),
                           Text(arv_get_device_address(index)), Text(arv_get_device_vendor(index)),
                           Text(arv_get_device_model(index)), Text(arv_get_device_serial_nbr(index)),
                           Text(arv_get_device_protocol(index))});
    }
    return devices;
}

AravisCamera::AravisCamera(const std::string& name) {
    GError* error = nullptr;
    ArvCamera* camera = arv_camera_new(name.c_str(), &error);
    if (camera == nullptr && error == nullptr) throw AravisError("arv_camera_new(" + name + "): no camera");
    Check(error, "arv_camera_new(" + name + ")");
    m_camera = GObjectPtr<ArvCamera>(camera);
}

ArvDevice* AravisCamera::Device() const { return arv_camera_get_device(m_camera.get()); }

std::int64_t AravisCamera::GetInteger(const std::string& feature) const {
    GError* error = nullptr;
    const gint64 value = arv_camera_get_integer(m_camera.get(), feature.c_str(), &error);
    Check(error, "get integer " + feature);
    return value;
}

void AravisCamera::SetInteger(const std::string& feature, std::int64_t value) {
    GError* error = nullptr;
    arv_camera_set_integer(m_camera.get(), feature.c_str(), value, &error);
    Check(error, "set integer " + feature + " = " + std::to_string(value));
}

double AravisCamera::GetFloat(const std::string& feature) const {
    GError* error = nullptr;
    const double value = arv_camera_get_float(m_camera.get(), feature.c_str(), &error);
    Check(error, "get float " + feature);
    return value;
}

void AravisCamera::SetFloat(const std::string& feature, double value) {
    GError* error = nullptr;
    arv_camera_set_float(m_camera.get(), feature.c_str(), value, &error);
    Check(error, "set float " + feature + " = " + std::to_string(value));
}

bool AravisCamera::GetBoolean(const std::string& feature) const {
    GError* error = nullptr;
    const gboolean value = arv_camera_get_boolean(m_camera.get(), feature.c_str(), &error);
    Check(error, "get boolean " + feature);
    return value != FALSE;
}

void AravisCamera::SetBoolean(const std::string& feature, bool value) {
    GError* error = nullptr;
    arv_camera_set_boolean(m_camera.get(), feature.c_str(), value ? TRUE : FALSE, &error);
    Check(error, "set boolean " + feature);
}

std::string AravisCamera::GetString(const std::string& feature) const {
    GError* error = nullptr;
    const char* value = arv_camera_get_string(m_camera.get(), feature.c_str(), &error);
    Check(error, "get string " + feature);
    return Text(value);
}

void AravisCamera::SetString(const std::string& feature, const std::string& value) {
    GError* error = nullptr;
    arv_camera_set_string(m_camera.get(), feature.c_str(), value.c_str(), &error);
    Check(error, "set string " + feature + " = " + value);
}

void AravisCamera::Execute(const std::string& command) {
    GError* error = nullptr;
    arv_camera_execute_command(m_camera.get(), command.c_str(), &error);
    Check(error, "execute " + command);
}

std::uint32_t AravisCamera::ReadRegister(std::uint64_t address) const {
    GError* error = nullptr;
    guint32 value = 0;
    arv_device_read_register(Device(), address, &value, &error);
    Check(error, "read register " + std::to_string(address));
    return value;
}

void AravisCamera::WriteRegister(std::uint64_t address, std::uint32_t value) {
    GError* error = nullptr;
    arv_device_write_register(Device(), address, value, &error);
    Check(error, "write register " + std::to_string(address));
}

std::vector<std::uint8_t> AravisCamera::ReadMemory(std::uint64_t address, std::uint32_t size) const {
    GError* error = nullptr;
    std::vector<std::uint8_t> data(size);
    arv_device_read_memory(Device(), address, size, data.data(), &error);
    Check(error, "read memory " + std::to_string(address));
    return data;
}

unsigned AravisCamera::PayloadSize() const {
    GError* error = nullptr;
    const guint payload = arv_camera_get_payload(m_camera.get(), &error);
    Check(error, "payload size");
    return payload;
}

unsigned AravisCamera::PacketSize() const {
    GError* error = nullptr;
    const guint size = arv_camera_gv_get_packet_size(m_camera.get(), &error);
    Check(error, "packet size");
    return size;
}

void AravisCamera::SetPacketSize(unsigned packetSize) {
    GError* error = nullptr;
    arv_camera_gv_set_packet_size(m_camera.get(), static_cast<gint>(packetSize), &error);
    Check(error, "set packet size " + std::to_string(packetSize));
}

void AravisCamera::UsePlainStreamSocket() {
    arv_camera_gv_set_stream_options(m_camera.get(), ARV_GV_STREAM_OPTION_PACKET_SOCKET_DISABLED);
}

void AravisCamera::StartAcquisition() {
    GError* error = nullptr;
    arv_camera_start_acquisition(m_camera.get(), &error);
    Check(error, "start acquisition");
}

void AravisCamera::StopAcquisition() {
    GError* error = nullptr;
    arv_camera_stop_acquisition(m_camera.get(), &error);
    Check(error, "stop acquisition");
}

AravisStream::AravisStream(AravisCamera& camera) : m_camera(camera) {
    GError* error = nullptr;
    ArvStream* stream = arv_camera_create_stream(camera.get(), nullptr, nullptr, &error);
    if (stream == nullptr && error == nullptr) throw AravisError("create stream: no stream");
    Check(error, "create stream");
    m_stream = GObjectPtr<ArvStream>(stream);
}

AravisStream::~AravisStream() {
    // Unreferencing the stream stops its thread, closes the channel (SCP = 0) and frees
    // every buffer still queued.
    m_stream.Reset();
}

void AravisStream::SetPacketResend(bool enabled) {
    g_object_set(m_stream.get(), "packet-resend",
                 enabled ? ARV_GV_STREAM_PACKET_RESEND_ALWAYS : ARV_GV_STREAM_PACKET_RESEND_NEVER, nullptr);
}

void AravisStream::PushBuffers(int count, std::size_t size) {
    if (size == 0) size = m_camera.PayloadSize();
    for (int index = 0; index < count; ++index) arv_stream_push_buffer(m_stream.get(), arv_buffer_new_allocate(size));
}

std::vector<GrabbedBuffer> AravisStream::Grab(int count, std::chrono::milliseconds timeout,
                                              const BufferInspector& inspect) {
    std::vector<GrabbedBuffer> grabbed;
    const auto timeoutUs = static_cast<guint64>(std::chrono::duration_cast<std::chrono::microseconds>(timeout).count());
    for (int index = 0; index < count; ++index) {
        ArvBuffer* buffer = arv_stream_timeout_pop_buffer(m_stream.get(), timeoutUs);
        if (buffer == nullptr) break;
        GrabbedBuffer result;
        result.status = arv_buffer_get_status(buffer);
        result.frameId = arv_buffer_get_frame_id(buffer);
        result.payloadType = arv_buffer_get_payload_type(buffer);
        result.timestampNs = arv_buffer_get_timestamp(buffer);
        result.systemTimestampNs = arv_buffer_get_system_timestamp(buffer);
        // A buffer that failed before its leader arrived has no image part to ask about.
        if ((result.payloadType == ARV_BUFFER_PAYLOAD_TYPE_IMAGE ||
             result.payloadType == ARV_BUFFER_PAYLOAD_TYPE_EXTENDED_CHUNK_DATA) &&
            arv_buffer_get_n_parts(buffer) > 0 &&
            arv_buffer_get_part_data_type(buffer, 0) == ARV_BUFFER_PART_DATA_TYPE_2D_IMAGE) {
            result.width = arv_buffer_get_image_width(buffer);
            result.height = arv_buffer_get_image_height(buffer);
            result.pixelFormat = arv_buffer_get_image_pixel_format(buffer);
        }
        size_t size = 0;
        const auto* data = static_cast<const std::uint8_t*>(arv_buffer_get_data(buffer, &size));
        if (data != nullptr) result.data.assign(data, data + size);
        if (inspect) inspect(buffer, result);
        grabbed.push_back(std::move(result));
        arv_stream_push_buffer(m_stream.get(), buffer);
    }
    return grabbed;
}

AravisStreamStatistics AravisStream::Statistics() const {
    AravisStreamStatistics statistics;
    guint64 completed = 0, failures = 0, underruns = 0;
    arv_stream_get_statistics(m_stream.get(), &completed, &failures, &underruns);
    statistics.completedBuffers = completed;
    statistics.failures = failures;
    statistics.underruns = underruns;
    if (ARV_IS_GV_STREAM(m_stream.get())) {
        guint64 resent = 0, missing = 0;
        arv_gv_stream_get_statistics(ARV_GV_STREAM(m_stream.get()), &resent, &missing);
        statistics.resentPackets = resent;
        statistics.missingPackets = missing;
    }
    const guint infos = arv_stream_get_n_infos(m_stream.get());
    for (guint id = 0; id < infos; ++id) {
        if (arv_stream_get_info_type(m_stream.get(), id) == G_TYPE_UINT64) {
            statistics.counters[Text(arv_stream_get_info_name(m_stream.get(), id))] =
                arv_stream_get_info_uint64(m_stream.get(), id);
        }
    }
    return statistics;
}

} // namespace GvCameraTest
