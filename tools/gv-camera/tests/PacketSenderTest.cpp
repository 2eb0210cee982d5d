// The stream sender against real sockets. UDP cases open sockets on loopback and therefore
// run only inside the network namespace their wrapper script makes; the back-pressure cases
// use a local datagram socket pair, whose reader holds the writer back when it lags, which
// a UDP receiver never does.
#include "PacketSender.h"
#include <Net/UdpSocket.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <numeric>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

#include <sys/socket.h>
#include <unistd.h>

using namespace GvCamera;
using namespace std::chrono_literals;
using Datagram = std::vector<std::uint8_t>;

namespace {

#define REQUIRE_NETWORK_NAMESPACE()                                                          \
    if (!std::getenv("VIREO_TEST_NETWORK_NAMESPACE"))                                        \
    GTEST_SKIP() << "opens sockets: runs only in the network namespace of its wrapper script"

// Datagram i: a header of (i % 5) * 16 bytes (0 to 64) naming i, then a slice of the frame
// of (i * 37) % 700 bytes (empty for some), so that both parts and their joint are checked.
struct Traffic {
    std::vector<std::uint8_t> frame;
    std::vector<Datagram> headers, expected;
    std::vector<std::span<const std::uint8_t>> data;

    explicit Traffic(std::size_t count, std::size_t scale = 1) : frame(count * 700 * scale) {
        std::iota(frame.begin(), frame.end(), std::uint8_t{7});
        std::size_t offset = 0;
        for (std::size_t i = 0; i < count; ++i) {
            Datagram header((i % 5) * 16, static_cast<std::uint8_t>(0xA0 + i % 16));
            if (header.size() >= 2) header[0] = static_cast<std::uint8_t>(i >> 8), header[1] = static_cast<std::uint8_t>(i);
            const std::span<const std::uint8_t> slice(frame.data() + offset, (i * 37) % 700 * scale);
            offset += slice.size();
            Datagram whole = header;
            whole.insert(whole.end(), slice.begin(), slice.end());
            headers.push_back(std::move(header));
            data.push_back(slice);
            expected.push_back(std::move(whole));
        }
    }
    void AddTo(PacketSender& sender, std::size_t from, std::size_t to) const {
        for (std::size_t i = from; i < to; ++i) sender.Add(headers[i], data[i]);
    }
    std::uint64_t Bytes() const {
        std::uint64_t sum = 0;
        for (const auto& datagram : expected) sum += datagram.size();
        return sum;
    }
};

Net::UdpSocket LoopbackSocket() {
    Net::UdpSocketOptions options;
    options.receiveBufferBytes = 4 << 20;
    return Net::UdpSocket("127.0.0.1", 0, options);
}

// Up to count datagrams, each waited for at most a second, then a short look for any more
// (which are returned too).
std::vector<Datagram> ReceiveUdp(Net::UdpSocket& socket, std::size_t count) {
    std::vector<Datagram> received;
    Datagram buffer(65536);
    for (;;) {
        const auto size = socket.Receive(buffer, received.size() < count ? 1000ms : 20ms);
        if (!size) return received;
        received.emplace_back(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(*size));
    }
}

struct SocketPair {
    int writer = -1, reader = -1;
    SocketPair() {
        int fds[2];
        if (::socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, fds) != 0) throw std::system_error(errno, std::generic_category());
        writer = fds[0], reader = fds[1];
        const int small = 16 << 10; // a few datagrams' worth
        ::setsockopt(writer, SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
    }
    ~SocketPair() { ::close(writer), ::close(reader); }
    std::vector<Datagram> Drain(std::size_t count, std::chrono::microseconds pauseEvery8) {
        std::vector<Datagram> received;
        Datagram buffer(65536);
        const auto giveUp = std::chrono::steady_clock::now() + 10s;
        while (received.size() < count && std::chrono::steady_clock::now() < giveUp) {
            const ssize_t size = ::recv(reader, buffer.data(), buffer.size(), MSG_DONTWAIT);
            if (size < 0) {
                std::this_thread::sleep_for(100us);
                continue;
            }
            received.emplace_back(buffer.begin(), buffer.begin() + size);
            if (received.size() % 8 == 0) std::this_thread::sleep_for(pauseEvery8);
        }
        return received;
    }
};

} // namespace

TEST(PacketSenderBatches, DatagramsBeyondManyBatchesArriveWholeAndInOrder) {
    REQUIRE_NETWORK_NAMESPACE();
    Net::UdpSocket receiver = LoopbackSocket(), sender("127.0.0.1", 0);
    const Traffic traffic(203);
    PacketSender packets(sender.Descriptor(), 8);
    packets.SetDestination(receiver.LocalAddress());

    traffic.AddTo(packets, 0, 8);
    EXPECT_EQ(packets.Queued(), 0u) << "a full batch goes out by itself";
    EXPECT_EQ(packets.Statistics().datagrams, 8u);
    traffic.AddTo(packets, 8, 203);
    EXPECT_EQ(packets.Queued(), 3u);
    packets.Flush();

    EXPECT_EQ(ReceiveUdp(receiver, 203), traffic.expected);
    const SenderStatistics statistics = packets.Statistics();
    EXPECT_EQ(statistics.datagrams, 203u);
    EXPECT_EQ(statistics.bytes, traffic.Bytes());
    EXPECT_EQ(statistics.sendCalls, 26u) << "one call per batch on an idle loopback";
    EXPECT_EQ(statistics.dropped, 0u);
}

TEST(PacketSenderBatches, ChangingTheDestinationSendsWhatWasQueuedToTheOldOne) {
    REQUIRE_NETWORK_NAMESPACE();
    Net::UdpSocket first = LoopbackSocket(), second = LoopbackSocket(), sender("127.0.0.1", 0);
    // Connected to the first: datagrams to it go without an address, to the second with one.
    sender.Connect(first.LocalAddress());
    const Traffic traffic(9);
    PacketSender packets(sender.Descriptor(), 64);
    packets.SetDestination(first.LocalAddress());
    traffic.AddTo(packets, 0, 3);
    packets.SetDestination(second.LocalAddress());
    traffic.AddTo(packets, 3, 5);
    packets.SetDestination(first.LocalAddress());
    traffic.AddTo(packets, 5, 9);
    packets.Flush();

    const std::vector<Datagram> toFirst = ReceiveUdp(first, 7), toSecond = ReceiveUdp(second, 2);
    ASSERT_EQ(toFirst.size(), 7u);
    ASSERT_EQ(toSecond.size(), 2u);
    EXPECT_EQ(toFirst[2], traffic.expected[2]);
    EXPECT_EQ(toFirst[3], traffic.expected[5]);
    EXPECT_EQ(toSecond[0], traffic.expected[3]);
    EXPECT_EQ(toSecond[1], traffic.expected[4]);
}

TEST(PacketSenderBackPressure, HeldBackSendsResumeWhereTheyStopped) {
    SocketPair pair;
    const Traffic traffic(300, 4); // up to 2.8 KB each against a 16 KB send buffer
    PacketSender packets(pair.writer, 64);
    packets.SetWaitLimit(5s); // never reached unless the machine stalls
    std::vector<Datagram> received;
    std::thread reader([&] { received = pair.Drain(300, 300us); });
    traffic.AddTo(packets, 0, 300);
    packets.Flush();
    reader.join();

    EXPECT_EQ(received, traffic.expected);
    const SenderStatistics statistics = packets.Statistics();
    EXPECT_EQ(statistics.datagrams, 300u);
    EXPECT_EQ(statistics.dropped, 0u);
    EXPECT_GT(statistics.sendCalls, 5u) << "the reader never held the writer back: nothing tested";
}

TEST(PacketSenderBackPressure, AStalledReaderCostsTheRestOfTheFlushNotTheProgram) {
    SocketPair pair;
    const Traffic traffic(128, 4);
    PacketSender packets(pair.writer, 64);
    packets.SetWaitLimit(20ms);
    traffic.AddTo(packets, 0, 64); // sent by Add itself: the batch is full

    SenderStatistics statistics = packets.Statistics();
    EXPECT_GT(statistics.dropped, 0u);
    EXPECT_EQ(statistics.datagrams + statistics.dropped, 64u);
    const std::vector<Datagram> first = pair.Drain(statistics.datagrams, 0us);
    ASSERT_EQ(first.size(), statistics.datagrams);
    EXPECT_EQ(first.front(), traffic.expected.front());
    EXPECT_EQ(first.back(), traffic.expected[first.size() - 1]) << "what went out is a prefix of the batch";

    // Once the reader drains, the next flush goes through.
    std::vector<Datagram> second;
    std::thread reader([&] { second = pair.Drain(64, 0us); });
    packets.SetWaitLimit(5s);
    traffic.AddTo(packets, 64, 128);
    reader.join();
    EXPECT_EQ(second, std::vector<Datagram>(traffic.expected.begin() + 64, traffic.expected.end()));
}

TEST(PacketSenderErrors, AnUnexpectedErrorThrowsAndEmptiesTheQueue) {
    // A datagram socket with no peer and no destination: nowhere to send.
    const int lonely = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ASSERT_GE(lonely, 0);
    PacketSender packets(lonely, 8);
    const Traffic traffic(3);
    traffic.AddTo(packets, 0, 3);
    EXPECT_THROW(packets.Flush(), std::system_error);
    EXPECT_EQ(packets.Queued(), 0u);
    ::close(lonely);
}

TEST(PacketSenderErrors, AClosedPortCountsDropsAndTheStreamGoesOn) {
    REQUIRE_NETWORK_NAMESPACE();
    sockaddr_in closed{};
    {
        Net::UdpSocket listener("127.0.0.1", 0);
        closed = listener.LocalAddress();
    }
    // Only a connected socket hears of the port unreachable messages.
    Net::UdpSocket sender("127.0.0.1", 0);
    sender.Connect(closed);
    PacketSender packets(sender.Descriptor(), 8);
    packets.SetDestination(closed);
    const Traffic traffic(30);
    for (std::size_t flush = 0; flush < 10; ++flush) {
        traffic.AddTo(packets, 3 * flush, 3 * flush + 3);
        ASSERT_NO_THROW(packets.Flush());
    }
    SenderStatistics statistics = packets.Statistics();
    EXPECT_GT(statistics.dropped, 0u);
    EXPECT_EQ(statistics.datagrams + statistics.dropped, 30u);

    // The host opens its port again: datagrams arrive (but the first may still meet the
    // refusal the last one before caused).
    Net::UdpSocket listener(closed);
    traffic.AddTo(packets, 0, 5);
    packets.Flush();
    const std::vector<Datagram> received = ReceiveUdp(listener, 4);
    ASSERT_GE(received.size(), 4u);
    EXPECT_EQ(received.back(), traffic.expected[4]);
}

TEST(PacketSenderErrors, NoRouteCountsEveryDatagramAsDropped) {
    REQUIRE_NETWORK_NAMESPACE();
    Net::UdpSocket sender("0.0.0.0", 0);
    PacketSender packets(sender.Descriptor(), 4);
    packets.SetDestination(Net::MakeAddress("10.99.0.1", 20202)); // the namespace has no route there
    const Traffic traffic(6);
    traffic.AddTo(packets, 0, 6);
    ASSERT_NO_THROW(packets.Flush());
    EXPECT_EQ(packets.Statistics().dropped, 6u);
    EXPECT_EQ(packets.Statistics().datagrams, 0u);
}

TEST(PacketSenderPacing, PacedDatagramsGoOneByOneThenBatchesResume) {
    REQUIRE_NETWORK_NAMESPACE();
    Net::UdpSocket receiver = LoopbackSocket(), sender("127.0.0.1", 0);
    const Traffic traffic(60);
    PacketSender packets(sender.Descriptor(), 8);
    packets.SetDestination(receiver.LocalAddress());

    packets.SetInterPacketDelay(20us); // spun
    traffic.AddTo(packets, 0, 20);
    packets.SetInterPacketDelay(300us); // slept
    traffic.AddTo(packets, 20, 40);
    packets.Flush();
    EXPECT_EQ(packets.Statistics().sendCalls, 40u);

    packets.SetInterPacketDelay(0ns);
    traffic.AddTo(packets, 40, 60);
    packets.Flush();
    EXPECT_EQ(packets.Statistics().sendCalls, 43u);
    EXPECT_EQ(ReceiveUdp(receiver, 60), traffic.expected);
}

TEST(UdpSocketTest, BindsReportsItsAddressAndNamesItInErrors) {
    REQUIRE_NETWORK_NAMESPACE();
    Net::UdpSocketOptions options;
    options.sendBufferBytes = Net::streamSendBufferBytes;
    options.fragmentation = Net::Fragmentation::Forbid;
    Net::UdpSocket socket("127.0.0.1", 0, options);
    EXPECT_NE(socket.LocalPort(), 0);
    EXPECT_GE(socket.SetSendBuffer(Net::streamSendBufferBytes), Net::streamSendBufferBytes) << "root may exceed the system cap";
    Datagram buffer(16);
    EXPECT_EQ(socket.Receive(buffer, 10ms), std::nullopt);

    try {
        Net::UdpSocket elsewhere("192.0.2.1", 3956); // not an address of this host
        FAIL() << "bound an address the host does not have";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::address_not_available);
        EXPECT_NE(std::string(error.what()).find("192.0.2.1:3956"), std::string::npos) << error.what();
    }
    EXPECT_THROW(Net::MakeAddress("10.77.0", 1), std::invalid_argument);
}
