// The server's address as a sink resolves it for each send or connect: numeric host, the
// port printed as the service, and the port of each datagram set separately.
#pragma once

#include <netdb.h>
#include <sys/socket.h>
#include <sys/types.h>

#include <cstddef>

struct SinkDestination {
    SinkDestination(const char* host, unsigned long port, int socktype, int protocol);
    ~SinkDestination();
    SinkDestination(const SinkDestination&) = delete;
    SinkDestination& operator=(const SinkDestination&) = delete;

    bool ok() const { return m_res != nullptr; }
    // The resolved address with its port replaced; false when there is none.
    bool AddressWithPort(unsigned long port, sockaddr_storage& addr, socklen_t& len) const;
    // Sends from socket s to the address with its port replaced. -1 when s is no socket.
    ssize_t SendFrom(int s, const void* data, size_t len, unsigned long port) const;
    // Connects socket s to the address with its port replaced; the result is not checked.
    void Connect(int s, unsigned long port) const;

    addrinfo* m_res = nullptr;
};
