#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// A TCP relay on loopback between one node manager and the broker, so that the campaign can break
// that link without touching either process: cut it (both sides closed at once, as a dropped link
// looks to each), or stall it (nothing forwarded for a while, the connections left open). One
// thread polls every socket; each connection accepted gets its own connection to the broker.
class ZLinkRelay {
public:
    explicit ZLinkRelay(int upstreamPort);
    ~ZLinkRelay();
    ZLinkRelay(const ZLinkRelay&) = delete;
    ZLinkRelay& operator=(const ZLinkRelay&) = delete;

    // Listens on a free loopback port and starts forwarding; false, with the reason, when it cannot.
    bool Start(std::string* error = nullptr);
    void Stop();

    int Port() const { return m_port; }
    // mqtt://127.0.0.1:<port>
    std::string URL() const;

    // Closes every relayed connection, both sides; later connections are relayed as before.
    void Cut();
    // While stalled nothing is read or written; the connections stay open.
    void SetStalled(bool stalled);
    // Connections relayed now, and accepted so far.
    std::size_t OpenCount() const { return m_open.load(); }
    std::size_t AcceptedCount() const { return m_accepted.load(); }

private:
    struct ZPair;

    void Run();
    void Wake() const;
    void Accept(std::vector<ZPair>& pairs);
    // False when the pair is done (end of stream or error on either side).
    static bool Pump(ZPair& pair, int direction, short events);
    static void Close(ZPair& pair);

    const int m_upstreamPort;
    int m_port = 0;
    int m_listener = -1;
    int m_wake[2] = {-1, -1};
    std::thread m_thread;
    std::atomic<bool> m_bStop{false};
    std::atomic<bool> m_bStalled{false};
    std::atomic<unsigned> m_cuts{0};
    std::atomic<std::size_t> m_open{0};
    std::atomic<std::size_t> m_accepted{0};
};
