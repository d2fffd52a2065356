#include "net/SinkDestination.h"

#include <netinet/in.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

SinkDestination::SinkDestination(const char* host, unsigned long port, int socktype, int protocol) {
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST;
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = socktype;
    hints.ai_protocol = protocol;
    char service[24];
    snprintf(service, sizeof(service), "%lu", port);
    if (host == nullptr || getaddrinfo(host, service, &hints, &m_res) != 0) {
        m_res = nullptr;
    }
}

SinkDestination::~SinkDestination() {
    if (m_res != nullptr) {
        freeaddrinfo(m_res);
    }
}

bool SinkDestination::AddressWithPort(unsigned long port, sockaddr_storage& addr,
                                      socklen_t& len) const {
    if (m_res == nullptr || m_res->ai_addrlen > sizeof(addr)) {
        return false;
    }
    addr = sockaddr_storage{};
    memcpy(&addr, m_res->ai_addr, m_res->ai_addrlen);
    len = m_res->ai_addrlen;
    uint16_t wirePort = htons(static_cast<uint16_t>(port));
    if (addr.ss_family == AF_INET) {
        reinterpret_cast<sockaddr_in*>(&addr)->sin_port = wirePort;
    } else if (addr.ss_family == AF_INET6) {
        reinterpret_cast<sockaddr_in6*>(&addr)->sin6_port = wirePort;
    }
    return true;
}

ssize_t SinkDestination::SendFrom(int s, const void* data, size_t len, unsigned long port) const {
    sockaddr_storage addr;
    socklen_t addrlen = 0;
    if (s <= 0 || !AddressWithPort(port, addr, addrlen)) {
        return -1;
    }
    return sendto(s, data, len, 0, reinterpret_cast<sockaddr*>(&addr), addrlen);
}

void SinkDestination::Connect(int s, unsigned long port) const {
    sockaddr_storage addr;
    socklen_t addrlen = 0;
    if (s > 0 && AddressWithPort(port, addr, addrlen)) {
        connect(s, reinterpret_cast<sockaddr*>(&addr), addrlen);
    }
}
