#include "ZLinkRelay.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace {

constexpr std::size_t kBufferBytes = 64 * 1024;
// How long a poll may sleep: the stop flag is also looked at this often.
constexpr int kPollMs = 100;

sockaddr_in Loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return address;
}

void NonBlocking(int fd) {
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
    const int one = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
}

}  // namespace

// Direction d carries what fd[d] sends to fd[1 - d]; its bytes wait in buffer[d] until written.
struct ZLinkRelay::ZPair {
    std::array<int, 2> m_fd{{-1, -1}};
    std::array<std::vector<char>, 2> m_buffer;
    std::array<std::size_t, 2> m_length{{0, 0}};
    std::array<std::size_t, 2> m_offset{{0, 0}};
};

ZLinkRelay::ZLinkRelay(int upstreamPort) : m_upstreamPort(upstreamPort) {}

ZLinkRelay::~ZLinkRelay() {
    Stop();
}

std::string ZLinkRelay::URL() const {
    return "mqtt://127.0.0.1:" + std::to_string(m_port);
}

bool ZLinkRelay::Start(std::string* error) {
    const auto fail = [&](const std::string& why) {
        if (error != nullptr) {
            *error = why + ": " + std::strerror(errno);
        }
        Stop();
        return false;
    };
    if (m_thread.joinable()) {
        return true;
    }
    if (::pipe2(m_wake, O_CLOEXEC | O_NONBLOCK) != 0) {
        return fail("relay: no pipe");
    }
    m_listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_in address = Loopback(0);
    socklen_t length = sizeof address;
    if (m_listener < 0 || ::bind(m_listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(m_listener, 16) != 0 ||
        ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        return fail("relay: cannot listen on loopback");
    }
    m_port = ntohs(address.sin_port);
    m_bStop = false;
    m_thread = std::thread([this] { Run(); });
    return true;
}

void ZLinkRelay::Stop() {
    m_bStop = true;
    Wake();
    if (m_thread.joinable()) {
        m_thread.join();
    }
    for (int* fd : {&m_listener, &m_wake[0], &m_wake[1]}) {
        if (*fd >= 0) {
            ::close(*fd);
            *fd = -1;
        }
    }
}

void ZLinkRelay::Wake() const {
    const char byte = 1;
    if (m_wake[1] >= 0 && ::write(m_wake[1], &byte, 1) < 0) {
        // A full pipe wakes the thread already.
    }
}

void ZLinkRelay::Cut() {
    ++m_cuts;
    Wake();
}

void ZLinkRelay::SetStalled(bool stalled) {
    m_bStalled = stalled;
    Wake();
}

void ZLinkRelay::Close(ZPair& pair) {
    for (int& fd : pair.m_fd) {
        if (fd >= 0) {
            ::close(fd);
            fd = -1;
        }
    }
}

void ZLinkRelay::Accept(std::vector<ZPair>& pairs) {
    // A burst of reconnections is taken in one go, bounded by the listen backlog.
    for (int i = 0; i < 16; ++i) {
        const int client = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0) {
            return;
        }
        ++m_accepted;
        // A blocking connect: on loopback it is answered at once, refused while the broker is down.
        const int upstream = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_in broker = Loopback(m_upstreamPort);
        if (upstream < 0 ||
            ::connect(upstream, reinterpret_cast<const sockaddr*>(&broker), sizeof broker) != 0) {
            if (upstream >= 0) {
                ::close(upstream);
            }
            ::close(client);
            continue;
        }
        NonBlocking(client);
        NonBlocking(upstream);
        ZPair pair;
        pair.m_fd = {{client, upstream}};
        pair.m_buffer[0].resize(kBufferBytes);
        pair.m_buffer[1].resize(kBufferBytes);
        pairs.push_back(std::move(pair));
    }
}

bool ZLinkRelay::Pump(ZPair& pair, int direction, short events) {
    const int from = pair.m_fd[static_cast<std::size_t>(direction)];
    const int to = pair.m_fd[static_cast<std::size_t>(1 - direction)];
    auto& buffer = pair.m_buffer[static_cast<std::size_t>(direction)];
    auto& length = pair.m_length[static_cast<std::size_t>(direction)];
    auto& offset = pair.m_offset[static_cast<std::size_t>(direction)];
    if ((events & (POLLERR | POLLNVAL)) != 0) {
        return false;
    }
    if (length == 0 && (events & (POLLIN | POLLHUP)) != 0) {
        const ssize_t got = ::read(from, buffer.data(), buffer.size());
        if (got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR)) {
            return false;
        }
        length = got > 0 ? static_cast<std::size_t>(got) : 0;
        offset = 0;
    }
    if (length > offset) {
        const ssize_t sent = ::send(to, buffer.data() + offset, length - offset, MSG_NOSIGNAL);
        if (sent < 0 && errno != EAGAIN && errno != EINTR) {
            return false;
        }
        offset += sent > 0 ? static_cast<std::size_t>(sent) : 0;
        if (offset == length) {
            length = offset = 0;
        }
    }
    return true;
}

void ZLinkRelay::Run() {
    std::vector<ZPair> pairs;
    unsigned cutsDone = m_cuts.load();
    while (!m_bStop) {
        if (m_cuts.load() != cutsDone) {
            cutsDone = m_cuts.load();
            for (auto& pair : pairs) {
                Close(pair);
            }
            pairs.clear();
        }
        const bool stalled = m_bStalled.load();
        std::vector<pollfd> fds = {{m_wake[0], POLLIN, 0}, {m_listener, POLLIN, 0}};
        if (!stalled) {
            for (const auto& pair : pairs) {
                // Each direction reads once its buffer is empty, and writes while it is not.
                for (std::size_t d = 0; d < 2; ++d) {
                    const bool waiting = pair.m_length[d] > pair.m_offset[d];
                    fds.push_back(
                        {pair.m_fd[waiting ? 1 - d : d], static_cast<short>(waiting ? POLLOUT : POLLIN), 0});
                }
            }
        }
        m_open = pairs.size();
        if (::poll(fds.data(), fds.size(), kPollMs) < 0) {
            continue;
        }
        if ((fds[0].revents & POLLIN) != 0) {
            char drain[64];
            while (::read(m_wake[0], drain, sizeof drain) > 0) {
            }
        }
        // Looked at again: a stall asked for during the poll holds what woke it.
        if (stalled || m_bStalled.load() || m_cuts.load() != cutsDone) {
            if ((fds[1].revents & POLLIN) != 0) {
                Accept(pairs);
            }
            continue;
        }
        std::vector<ZPair> kept;
        for (std::size_t p = 0; p < pairs.size(); ++p) {
            bool alive = true;
            for (std::size_t d = 0; d < 2 && alive; ++d) {
                alive = Pump(pairs[p], static_cast<int>(d), fds[2 + 2 * p + d].revents);
            }
            if (alive) {
                kept.push_back(std::move(pairs[p]));
            } else {
                Close(pairs[p]);
            }
        }
        pairs = std::move(kept);
        if ((fds[1].revents & POLLIN) != 0) {
            Accept(pairs);
        }
    }
    for (auto& pair : pairs) {
        Close(pair);
    }
    m_open = 0;
}
