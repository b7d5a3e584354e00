// The relay on real loopback sockets: a listener of the test's own stands for the broker.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <string>

#include "ZLinkRelay.h"

namespace {

constexpr int kWaitMs = 5000;

int Listen(int& port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    ::listen(fd, 4);
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    port = ntohs(address.sin_port);
    return fd;
}

int Connect(int port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 ? fd : -1;
}

int AcceptWithin(int listener, int ms) {
    pollfd ready{listener, POLLIN, 0};
    return ::poll(&ready, 1, ms) == 1 ? ::accept(listener, nullptr, nullptr) : -1;
}

// What arrives on the socket within the time: the bytes, "<eof>" once it is closed, "" for nothing.
std::string ReadWithin(int fd, int ms) {
    pollfd ready{fd, POLLIN, 0};
    if (::poll(&ready, 1, ms) != 1) {
        return std::string();
    }
    char buffer[256];
    const ssize_t got = ::read(fd, buffer, sizeof buffer);
    return got <= 0 ? std::string("<eof>") : std::string(buffer, static_cast<std::size_t>(got));
}

class ZLinkRelayTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_listener = Listen(m_brokerPort);
        m_pRelay = std::make_unique<ZLinkRelay>(m_brokerPort);
        std::string error;
        ASSERT_TRUE(m_pRelay->Start(&error)) << error;
    }
    void TearDown() override {
        m_pRelay.reset();
        for (const int fd : {m_listener, m_client, m_server}) {
            if (fd >= 0) {
                ::close(fd);
            }
        }
    }
    // A client through the relay, and the broker's side of it.
    void Link() {
        m_client = Connect(m_pRelay->Port());
        ASSERT_GE(m_client, 0);
        m_server = AcceptWithin(m_listener, kWaitMs);
        ASSERT_GE(m_server, 0);
    }

    int m_brokerPort = 0;
    int m_listener = -1;
    int m_client = -1;
    int m_server = -1;
    std::unique_ptr<ZLinkRelay> m_pRelay;
};

}  // namespace

TEST_F(ZLinkRelayTest, ForwardsBothWaysUntilCutThenRelaysANewConnection) {
    EXPECT_EQ(m_pRelay->URL(), "mqtt://127.0.0.1:" + std::to_string(m_pRelay->Port()));
    Link();
    ASSERT_EQ(::write(m_client, "ping", 4), 4);
    EXPECT_EQ(ReadWithin(m_server, kWaitMs), "ping");
    ASSERT_EQ(::write(m_server, "pong", 4), 4);
    EXPECT_EQ(ReadWithin(m_client, kWaitMs), "pong");

    m_pRelay->Cut();

    // Both ends see the link drop, as a lost network looks to each.
    EXPECT_EQ(ReadWithin(m_client, kWaitMs), "<eof>");
    EXPECT_EQ(ReadWithin(m_server, kWaitMs), "<eof>");
    ::close(m_client);
    ::close(m_server);
    Link();
    ASSERT_EQ(::write(m_client, "again", 5), 5);
    EXPECT_EQ(ReadWithin(m_server, kWaitMs), "again");
    EXPECT_EQ(m_pRelay->AcceptedCount(), 2u);
}

TEST_F(ZLinkRelayTest, StalledLinkHoldsBytesAndKeepsTheConnectionOpen) {
    Link();
    m_pRelay->SetStalled(true);
    ASSERT_EQ(::write(m_client, "held", 4), 4);
    ASSERT_EQ(::write(m_server, "back", 4), 4);
    // Nothing gets through while stalled; a tenth of a second stands for "a while".
    EXPECT_EQ(ReadWithin(m_server, 100), "");
    EXPECT_EQ(ReadWithin(m_client, 100), "");
    EXPECT_EQ(m_pRelay->OpenCount(), 1u);

    m_pRelay->SetStalled(false);

    EXPECT_EQ(ReadWithin(m_server, kWaitMs), "held");
    EXPECT_EQ(ReadWithin(m_client, kWaitMs), "back");
}

TEST_F(ZLinkRelayTest, ClientIsDroppedWhileTheBrokerIsDown) {
    ::close(m_listener);
    m_listener = -1;
    m_client = Connect(m_pRelay->Port());
    ASSERT_GE(m_client, 0);
    EXPECT_EQ(ReadWithin(m_client, kWaitMs), "<eof>");
    EXPECT_EQ(m_pRelay->OpenCount(), 0u);
}
