// What a GigE Vision stream sender can offer from one core: jumbo datagrams over a veth pair
// between two network namespaces, received and counted by a thread on another core.
//   (a) plain sendmmsg of a frame's datagrams, prepared whole, one buffer each: the limit;
//   (b) PacketSender building the same frame's datagrams from a GVSP header and a slice of
//       the frame (leader, payload packets, trailer), as the device server does;
//   (c) the same on a connected socket, where datagrams carry no address;
//   (d) the device server itself: a camera's stream channel generating its frames (the
//       colour camera in Mono8, free-running) and sending them on its own thread.
// Sockets are opened only in the two namespaces named on the command line, which
// RunGvspThroughput.sh creates and removes. The main thread enters the receiver's namespace
// to open the receiving socket, then the sender's, and sends; the receiver thread counts.
#include "PacketSender.h"
#include "StreamChannel.h"
#include <Net/UdpSocket.h>
#include "camera/BootstrapRegisters.h"
#include "camera/CameraModel.h"
#include "camera/VirtualCamera.h"

#include <GigE/BootstrapRegisters.h>
#include <GigE/GvspHeader.h>
#include <GigE/GvspLeader.h>
#include <GigE/GvspTrailer.h>
#include <GigE/PacketSizing.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <numeric>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <poll.h>
#include <sched.h>
#include <arpa/inet.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

using namespace GvCamera;
using Clock = std::chrono::steady_clock;

namespace {

constexpr std::uint32_t packetSize = 9000; // IP datagram, as written to the packet size register
constexpr std::uint32_t width = 2448, height = 2048;
constexpr std::uint32_t mono8 = 0x01080001;
constexpr std::uint16_t receiverPort = 50000;

struct Options {
    std::string senderNamespace, receiverNamespace;
    std::string source = "10.77.0.1", destination = "10.77.0.2";
    double seconds = 3;
    int rounds = 6;
    int senderCore = 0, receiverCore = 1;
};

[[noreturn]] void Usage(const char* program) {
    std::fprintf(stderr,
                 "usage: %s --sender-netns NAME --receiver-netns NAME [--source IP] [--destination IP]\n"
                 "          [--seconds S] [--rounds N] [--sender-core N] [--receiver-core N]\n"
                 "S seconds per case in all, split into N interleaved rounds.\n"
                 "Opens sockets only inside the two named network namespaces; RunGvspThroughput.sh makes them.\n",
                 program);
    std::exit(2);
}

Options Parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (i + 1 >= argc) Usage(argv[0]);
        const std::string value = argv[++i];
        if (name == "--sender-netns") options.senderNamespace = value;
        else if (name == "--receiver-netns") options.receiverNamespace = value;
        else if (name == "--source") options.source = value;
        else if (name == "--destination") options.destination = value;
        else if (name == "--seconds") options.seconds = std::stod(value);
        else if (name == "--rounds") options.rounds = std::stoi(value);
        else if (name == "--sender-core") options.senderCore = std::stoi(value);
        else if (name == "--receiver-core") options.receiverCore = std::stoi(value);
        else Usage(argv[0]);
    }
    if (options.senderNamespace.empty() || options.receiverNamespace.empty()) Usage(argv[0]);
    if (options.seconds <= 0 || options.seconds > 30) throw std::invalid_argument("--seconds must be in (0, 30]");
    if (options.rounds < 1 || options.rounds > 100) throw std::invalid_argument("--rounds must be in [1, 100]");
    return options;
}

void EnterNamespace(const std::string& name) {
    const std::string path = "/run/netns/" + name;
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) throw std::system_error(errno, std::generic_category(), "cannot open " + path);
    const int result = ::setns(fd, CLONE_NEWNET);
    const int error = errno;
    ::close(fd);
    if (result != 0) throw std::system_error(error, std::generic_category(), "cannot enter network namespace " + name);
}

void PinTo(int core) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(core, &set);
    if (pthread_setaffinity_np(pthread_self(), sizeof set, &set) != 0)
        std::fprintf(stderr, "note: cannot pin a thread to core %d; it floats\n", core);
}

double ThreadCpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

// Counts what arrives until told to stop, in batches like a GVSP receiver.
class Receiver {
public:
    explicit Receiver(Net::UdpSocket socket, int core) : m_socket(std::move(socket)), m_thread([this, core] { Run(core); }) {}
    ~Receiver() {
        m_stop = true;
        m_thread.join();
    }

    struct Count {
        std::uint64_t datagrams = 0, bytes = 0;
        double cpuSeconds = 0;
    };
    Count Snapshot() const { return {m_datagrams.load(), m_bytes.load(), m_cpuSeconds.load()}; }
    // Waits until nothing has arrived for a moment, at most a second.
    void WaitUntilQuiet() const {
        const auto giveUp = Clock::now() + std::chrono::seconds(1);
        std::uint64_t before = m_datagrams.load();
        while (Clock::now() < giveUp) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            const std::uint64_t now = m_datagrams.load();
            if (now == before) return;
            before = now;
        }
    }

private:
    void Run(int core) {
        PinTo(core);
        constexpr std::size_t batch = 64;
        std::vector<std::uint8_t> storage(batch * packetSize);
        std::vector<iovec> vectors(batch);
        std::vector<mmsghdr> messages(batch);
        for (std::size_t i = 0; i < batch; ++i) {
            vectors[i] = {storage.data() + i * packetSize, packetSize};
            messages[i].msg_hdr.msg_iov = &vectors[i];
            messages[i].msg_hdr.msg_iovlen = 1;
        }
        while (!m_stop) {
            pollfd readable{m_socket.Descriptor(), POLLIN, 0};
            if (::poll(&readable, 1, 50) <= 0) continue;
            const int received = ::recvmmsg(m_socket.Descriptor(), messages.data(), batch, MSG_DONTWAIT, nullptr);
            if (received <= 0) continue;
            std::uint64_t bytes = 0;
            for (int i = 0; i < received; ++i) bytes += messages[i].msg_len;
            m_datagrams += static_cast<std::uint64_t>(received);
            m_bytes += bytes;
            m_cpuSeconds = ThreadCpuSeconds();
        }
    }

    Net::UdpSocket m_socket;
    std::atomic<bool> m_stop{false};
    std::atomic<std::uint64_t> m_datagrams{0}, m_bytes{0};
    std::atomic<double> m_cpuSeconds{0};
    std::thread m_thread;
};

// The frame and its packets: the leader's and trailer's contents and each payload packet's
// slice of the frame, as a device cuts a 2448 x 2048 Mono8 image at packet size 9000.
struct Frame {
    std::vector<std::uint8_t> pixels;
    std::vector<std::uint8_t> leader, trailer;
    GigE::BlockPacketCount count;
    std::uint32_t dataPerPacket = 0;

    Frame() : pixels(std::size_t{width} * height) {
        std::iota(pixels.begin(), pixels.end(), std::uint8_t{0});
        GigE::ImageLeader image;
        image.pixelFormat = mono8;
        image.sizeX = width;
        image.sizeY = height;
        leader = GigE::encodeLeader(image);
        trailer = GigE::encodeTrailer(GigE::ImageTrailer{static_cast<std::uint16_t>(GigE::PayloadType::Image), height, {}});
        const GigE::StreamPacketLayout layout;
        dataPerPacket = layout.dataPerPacket(packetSize);
        count = GigE::countBlockPackets(pixels.size(), packetSize, layout);
    }

    std::span<const std::uint8_t> Slice(std::uint32_t packetId) const {
        const std::uint64_t offset = GigE::payloadOffset(packetId, dataPerPacket);
        return {pixels.data() + offset, std::min<std::size_t>(dataPerPacket, pixels.size() - offset)};
    }

    // Calls emit(header, content) for every packet of block blockId in order.
    template <typename Emit> void Packets(std::uint64_t blockId, std::vector<std::uint8_t>& scratch, Emit&& emit) const {
        GigE::GvspHeader header;
        header.blockId = blockId;
        const auto put = [&](GigE::PacketFormat format, std::uint32_t packetId, std::span<const std::uint8_t> content) {
            header.format = format;
            header.packetId = packetId;
            scratch.clear();
            header.encodeInto(scratch);
            emit(std::span<const std::uint8_t>(scratch), content);
        };
        put(GigE::PacketFormat::Leader, 0, leader);
        for (std::uint32_t id = 1; id <= count.payloadPackets; ++id) put(GigE::PacketFormat::Payload, id, Slice(id));
        put(GigE::PacketFormat::Trailer, static_cast<std::uint32_t>(count.trailerPacketId), trailer);
    }
};

std::uint64_t NextBlockId(std::uint64_t id) { return id == 0xFFFF ? 1 : id + 1; }

struct SenderResult {
    std::uint64_t datagrams = 0, bytes = 0, sendCalls = 0, dropped = 0, frames = 0;
    double wallSeconds = 0, cpuSeconds = 0;
};

// Runs send() frame after frame for the given time on this thread.
SenderResult Measure(double seconds, const std::function<void()>& sendFrame, const std::function<SenderResult()>& totals) {
    const SenderResult before = totals();
    const double cpuBefore = ThreadCpuSeconds();
    const auto start = Clock::now();
    const auto end = start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    std::uint64_t frames = 0;
    while (Clock::now() < end) {
        sendFrame();
        ++frames;
    }
    SenderResult result = totals();
    result.datagrams -= before.datagrams;
    result.bytes -= before.bytes;
    result.sendCalls -= before.sendCalls;
    result.dropped -= before.dropped;
    result.frames = frames;
    result.wallSeconds = std::chrono::duration<double>(Clock::now() - start).count();
    result.cpuSeconds = ThreadCpuSeconds() - cpuBefore;
    return result;
}

// Case (a): every datagram of the frame prepared once in a buffer of its own, sent 64 at a
// time with nothing but sendmmsg.
class PlainSender {
public:
    PlainSender(int socket, const sockaddr_in& destination, const Frame& frame) : m_socket(socket), m_destination(destination) {
        // Back to back in one allocation, like the frame the other cases read from, so that
        // only the gathering differs, not the memory (huge pages, prefetching).
        std::vector<std::size_t> sizes;
        std::vector<std::uint8_t> scratch;
        frame.Packets(1, scratch, [&](std::span<const std::uint8_t> header, std::span<const std::uint8_t> content) {
            m_storage.insert(m_storage.end(), header.begin(), header.end());
            m_storage.insert(m_storage.end(), content.begin(), content.end());
            sizes.push_back(header.size() + content.size());
        });
        m_vectors.resize(sizes.size());
        m_messages.resize(sizes.size());
        std::size_t offset = 0;
        for (std::size_t i = 0; i < sizes.size(); ++i) {
            m_vectors[i] = {m_storage.data() + offset, sizes[i]};
            offset += sizes[i];
            msghdr& message = m_messages[i].msg_hdr;
            message.msg_name = &m_destination;
            message.msg_namelen = sizeof m_destination;
            message.msg_iov = &m_vectors[i];
            message.msg_iovlen = 1;
        }
    }

    void SendFrame() {
        for (std::size_t first = 0; first < m_messages.size();) {
            const unsigned count = static_cast<unsigned>(std::min<std::size_t>(64, m_messages.size() - first));
            const int sent = ::sendmmsg(m_socket, &m_messages[first], count, 0);
            ++m_totals.sendCalls;
            if (sent < 0) {
                if (errno == EINTR || errno == ENOBUFS || errno == EAGAIN) continue;
                throw std::system_error(errno, std::generic_category(), "sendmmsg");
            }
            for (int i = 0; i < sent; ++i) m_totals.bytes += m_messages[first + i].msg_len;
            m_totals.datagrams += static_cast<std::uint64_t>(sent);
            first += static_cast<std::size_t>(sent);
        }
    }
    SenderResult Totals() const { return m_totals; }

private:
    int m_socket;
    sockaddr_in m_destination;
    std::vector<std::uint8_t> m_storage;
    std::vector<iovec> m_vectors;
    std::vector<mmsghdr> m_messages;
    SenderResult m_totals;
};

// Cases (b) and (c): headers encoded per packet, data pointed at in the frame.
class GvspSender {
public:
    GvspSender(int socket, const sockaddr_in& destination, const Frame& frame) : m_frame(frame), m_sender(socket, 64) {
        m_sender.SetDestination(destination);
        m_scratch.reserve(PacketSender::maxHeaderSize);
    }
    void SendFrame() {
        m_frame.Packets(m_blockId, m_scratch, [this](std::span<const std::uint8_t> header, std::span<const std::uint8_t> content) {
            m_sender.Add(header, content);
        });
        m_sender.Flush();
        m_blockId = NextBlockId(m_blockId);
    }
    SenderResult Totals() const {
        const SenderStatistics& statistics = m_sender.Statistics();
        return {statistics.datagrams, statistics.bytes, statistics.sendCalls, statistics.dropped, 0, 0, 0};
    }

private:
    const Frame& m_frame;
    PacketSender m_sender;
    std::vector<std::uint8_t> m_scratch;
    std::uint64_t m_blockId = 1;
};

double ProcessCpuSeconds() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// Case (d): the device server's stream channel with a camera of its own, open for a round at a
// time. Its thread makes every frame (the test pattern) and sends it, as the server does.
class ServerStream {
public:
    ServerStream(const std::string& source, const sockaddr_in& destination) : m_faults(GvCamera::FaultSettings{}) {
        VirtualGenTL::CameraIdentity identity;
        identity.serialNumber = "BENCH-0001";
        identity.ipAddress = ntohl(Net::MakeAddress(source, 0).sin_addr.s_addr);
        m_camera = std::make_shared<VirtualGenTL::VirtualCamera>(VirtualGenTL::ColourCameraModel(), identity);
        VirtualGenTL::RegisterSpace& registers = m_camera->Registers();
        registers.SetInteger("PixelFormat", mono8);
        registers.SetInteger("Width", width);
        registers.SetInteger("Height", height);
        registers.SetInteger("AcquisitionFrameRateEnable", 0);  // as fast as it can send
        namespace Reg = GigE::Register;
        VirtualGenTL::BootstrapRegisters& bootstrap = m_camera->Bootstrap();
        bootstrap.Set(Reg::streamChannel(0) + Reg::StreamChannelOffset::packetSize,
                      packetSize | Reg::StreamChannelPacketSize::doNotFragment);
        bootstrap.Set(Reg::streamChannel(0) + Reg::StreamChannelOffset::destinationAddress, ntohl(destination.sin_addr.s_addr));
        m_port = ntohs(destination.sin_port);
        m_channel = std::make_unique<GvCamera::StreamChannel>(m_camera, 0, m_faults, 8);
        const std::uint8_t one[4] = {0, 0, 0, 1};
        registers.Write(registers.GetDescription().Get("AcquisitionStart").address, one, sizeof one);
    }
    SenderResult Run(double seconds, const std::function<double()>& receiverCpu) {
        namespace Reg = GigE::Register;
        const GvCamera::StreamStatistics before = m_channel->Statistics();
        const double cpuBefore = ProcessCpuSeconds(), receiverBefore = receiverCpu();
        const auto start = Clock::now();
        m_camera->Bootstrap().Set(Reg::streamChannel(0) + Reg::StreamChannelOffset::port, m_port);
        m_channel->PortChanged();
        std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
        m_channel->Close();
        const GvCamera::StreamStatistics after = m_channel->Statistics();
        SenderResult result;
        result.wallSeconds = std::chrono::duration<double>(Clock::now() - start).count();
        result.cpuSeconds = ProcessCpuSeconds() - cpuBefore - (receiverCpu() - receiverBefore);
        result.frames = after.blocks - before.blocks;
        result.datagrams = after.packetsSent - before.packetsSent;
        // The frame's bytes and a GVSP header per packet (leader and trailer contents, 44 bytes
        // a frame, left out).
        result.bytes = result.frames * (std::uint64_t(width) * height + 8 * (result.datagrams / std::max<std::uint64_t>(1, result.frames)));
        return result;
    }

private:
    GvCamera::FaultInjector m_faults;
    std::shared_ptr<VirtualGenTL::VirtualCamera> m_camera;
    std::unique_ptr<GvCamera::StreamChannel> m_channel;
    std::uint16_t m_port = 0;
};

struct Row {
    const char* name;
    SenderResult sent;
    Receiver::Count received;
    std::vector<double> roundGbits; // offered, per round
};

void Accumulate(Row& row, const SenderResult& sent, const Receiver::Count& received) {
    row.sent.datagrams += sent.datagrams;
    row.sent.bytes += sent.bytes;
    row.sent.sendCalls += sent.sendCalls;
    row.sent.dropped += sent.dropped;
    row.sent.frames += sent.frames;
    row.sent.wallSeconds += sent.wallSeconds;
    row.sent.cpuSeconds += sent.cpuSeconds;
    row.received.datagrams += received.datagrams;
    row.received.bytes += received.bytes;
    row.received.cpuSeconds += received.cpuSeconds;
    row.roundGbits.push_back(double(sent.bytes) * 8 / sent.wallSeconds / 1e9);
}

// One round of one case: what the sender offered and what arrived meanwhile.
template <typename Sender> void RunRound(Row& row, Sender& sender, Receiver& receiver, double seconds) {
    receiver.WaitUntilQuiet();
    const Receiver::Count before = receiver.Snapshot();
    const SenderResult sent = Measure(seconds, [&] { sender.SendFrame(); }, [&] { return sender.Totals(); });
    receiver.WaitUntilQuiet();
    Receiver::Count received = receiver.Snapshot();
    received.datagrams -= before.datagrams;
    received.bytes -= before.bytes;
    received.cpuSeconds -= before.cpuSeconds;
    Accumulate(row, sent, received);
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

double Gbits(std::uint64_t bytes, double seconds) { return double(bytes) * 8 / seconds / 1e9; }

void Print(const std::vector<Row>& rows, const Frame& frame) {
    std::printf("GVSP throughput over veth, packet size %u (UDP payload %u), frame %ux%u Mono8 = %llu packets\n",
                packetSize, GigE::udpPayloadSize(packetSize), width, height,
                static_cast<unsigned long long>(frame.count.totalPackets));
    std::printf("%-30s %8s %9s %8s %9s %6s %8s %7s %8s %8s %9s\n", "case", "offered", "offered", "received",
                "received", "lost", "frames/s", "sender", "Gbit per", "receiver", "datagrams");
    std::printf("%-30s %8s %9s %8s %9s %6s %8s %7s %8s %8s %9s\n", "", "Gbit/s", "pkt/s", "Gbit/s", "pkt/s", "%",
                "", "CPU %", "CPU s", "CPU %", "/call");
    for (const Row& row : rows) {
        const double seconds = row.sent.wallSeconds;
        const double lost = row.sent.datagrams == 0 ? 0
            : 100.0 * (double(row.sent.datagrams) - double(row.received.datagrams)) / double(row.sent.datagrams);
        const auto [low, high] = std::minmax_element(row.roundGbits.begin(), row.roundGbits.end());
        std::printf("%-30s %8.2f %9.0f %8.2f %9.0f %6.2f %8.1f %7.1f %8.2f %8.1f %9.1f\n", row.name,
                    Gbits(row.sent.bytes, seconds), double(row.sent.datagrams) / seconds,
                    Gbits(row.received.bytes, seconds), double(row.received.datagrams) / seconds, lost,
                    double(row.sent.frames) / seconds, 100 * row.sent.cpuSeconds / seconds,
                    Gbits(row.sent.bytes, row.sent.cpuSeconds), 100 * row.received.cpuSeconds / seconds,
                    row.sent.sendCalls ? double(row.sent.datagrams) / double(row.sent.sendCalls) : 0.0);
        std::printf("    offered per round: %.2f to %.2f Gbit/s over %zu rounds\n", *low, *high, row.roundGbits.size());
        if (row.sent.dropped) std::printf("    (%llu datagrams counted as dropped by the sender)\n",
                                          static_cast<unsigned long long>(row.sent.dropped));
    }
    // Paired by round, so that a neighbour's load during one round weighs on both sides.
    const auto ratio = [&](std::size_t to, std::size_t from) {
        std::vector<double> ratios;
        for (std::size_t round = 0; round < rows[from].roundGbits.size(); ++round)
            ratios.push_back(rows[to].roundGbits[round] / rows[from].roundGbits[round]);
        const double perCpu = (double(rows[to].sent.bytes) / rows[to].sent.cpuSeconds) /
                              (double(rows[from].sent.bytes) / rows[from].sent.cpuSeconds);
        const auto [low, high] = std::minmax_element(ratios.begin(), ratios.end());
        std::printf("ratio offered %s / %s: median of rounds %.3f (%.3f to %.3f); per sender CPU second %.3f\n",
                    rows[to].name, rows[from].name, Median(ratios), *low, *high, perCpu);
    };
    ratio(1, 0);
    ratio(2, 0);
    ratio(3, 0);
    std::printf("Sender CPU includes the veth receive path, which the kernel runs on the sending core; Gbit per\n"
                "CPU s is what the sender would offer with a core to itself, the figure least moved by neighbours.\n");
}

} // namespace

int main(int argc, char** argv) {
    try {
        const Options options = Parse(argc, argv);
        PinTo(options.senderCore);

        EnterNamespace(options.receiverNamespace);
        Net::UdpSocketOptions receiving;
        receiving.receiveBufferBytes = 32 << 20;
        Net::UdpSocket receiverSocket(options.destination, receiverPort, receiving);
        EnterNamespace(options.senderNamespace);
        Net::UdpSocketOptions sending;
        sending.sendBufferBytes = Net::streamSendBufferBytes;
        sending.fragmentation = Net::Fragmentation::Forbid;
        Net::UdpSocket plainSocket(options.source, 0, sending), gvspSocket(options.source, 0, sending),
            connectedSocket(options.source, 0, sending);
        const sockaddr_in destination = Net::MakeAddress(options.destination, receiverPort);
        connectedSocket.Connect(destination);

        const Frame frame;
        Receiver receiver(std::move(receiverSocket), options.receiverCore);
        PlainSender plain(plainSocket.Descriptor(), destination, frame);
        GvspSender gvsp(gvspSocket.Descriptor(), destination, frame);
        GvspSender connected(connectedSocket.Descriptor(), destination, frame);

        ServerStream server(options.source, destination);

        // Interleaved rounds rather than one stretch per case: on a shared machine the load
        // drifts, and each case should meet the same drift.
        std::vector<Row> rows{{"(a) plain sendmmsg, prepared", {}, {}, {}},
                              {"(b) PacketSender, GVSP", {}, {}, {}},
                              {"(c) PacketSender, connected", {}, {}, {}},
                              {"(d) device server stream", {}, {}, {}}};
        const double warmUp = 0.2, round = options.seconds / options.rounds;
        Measure(warmUp, [&] { plain.SendFrame(); }, [&] { return plain.Totals(); });
        Measure(warmUp, [&] { gvsp.SendFrame(); }, [&] { return gvsp.Totals(); });
        Measure(warmUp, [&] { connected.SendFrame(); }, [&] { return connected.Totals(); });
        // The order rotates: a case's place in a round was seen to be worth some 10 %.
        for (int r = 0; r < options.rounds; ++r)
            for (int place = 0; place < 4; ++place) switch ((r + place) % 4) {
                case 0: RunRound(rows[0], plain, receiver, round); break;
                case 1: RunRound(rows[1], gvsp, receiver, round); break;
                case 2: RunRound(rows[2], connected, receiver, round); break;
                default: {
                    receiver.WaitUntilQuiet();
                    const Receiver::Count before = receiver.Snapshot();
                    const SenderResult sent = server.Run(round, [&] { return receiver.Snapshot().cpuSeconds; });
                    receiver.WaitUntilQuiet();
                    Receiver::Count received = receiver.Snapshot();
                    received.datagrams -= before.datagrams;
                    received.bytes -= before.bytes;
                    received.cpuSeconds -= before.cpuSeconds;
                    Accumulate(rows[3], sent, received);
                    break;
                }
                }
        Print(rows, frame);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_gige_gvsp_throughput: %s\n", error.what());
        return 1;
    }
}
