// CNetSinkContainer: the list of live network sinks of one player container and the single
// receive thread that serves all their sockets and drives their periodic network duties.
#pragma once

#include <sys/socket.h>

#include <atomic>

#include "base/Memory.h"
#include "base/Types.h"
#include "net/SocketFdSet.h"

class CNetSink;

struct SinkNode {
    SinkNode* pNext;
    CNetSink* sink;  // owned by the list
};

// Link report codes passed to the report callback.
enum {
    LINK_RTCP_SILENCE = 1,
    LINK_RTCP_BYE = 2,
    LINK_TCP_CLOSED = 3,
    LINK_SEND_REPORT = 4,
};

class CNetSinkContainer {
public:
    CNetSinkContainer();
    virtual ~CNetSinkContainer();
    CNetSinkContainer(const CNetSinkContainer&) = delete;
    CNetSinkContainer& operator=(const CNetSinkContainer&) = delete;

    void Init();
    void AddNetSink(CNetSink* sink);
    // Pauses the sink, says BYE to the server, then unregisters, destroys and deletes it.
    void RemoveSink(CNetSink* sink);
    // The oldest listed sink owning socket s. Callers hold m_mutexSink.
    CNetSink* GetSinkBySocket(int s);
    void ReceiveData(int s, int len, sockaddr_storage from);
    void ReceiveDataError(int s, int err);
    void CalcFlux();
    void SendRtcp();
    void SendNetHole();
    void CheckRtcpReport();
    void SetReportCallback(NetLink_ReportCallBack cb) { m_ReportCallback.store(cb); }
    void SetUserdata(long userdata) { m_UserData.store(userdata); }

    // Gives the report callback (if any) its code for a sink. Never called under m_mutexSink.
    void Report(CNetSink* sink, int code);
    // The body of the receive thread; returns when m_semExit is posted.
    void ReceiveLoop();
    // Wake-ups the receive loop has taken (a sink was added or removed, or the container is
    // going away), and the times it began to wait with no socket registered. Read by tests.
    unsigned long WakeUps() const { return m_uWakeUps.load(); }
    unsigned long IdleWaits() const { return m_uIdleWaits.load(); }

    SinkNode* m_SinkList;
    std::atomic<NetLink_ReportCallBack> m_ReportCallback;
    CSocketFdSet m_SocketSet;
    CMemory m_RecvBuf;
    pthread_t m_RecvThread;
    unsigned int m_RecvThreadid;
    SEM_T m_semExit;
    MUTEX_T m_mutexSink;
    std::atomic<long> m_UserData;
    char m_serverip[64];

private:
    void ServeReadableSockets(const fd_set& readable);
    // One read of socket s delivered to its sink; false when there is nothing more to read.
    bool ReadOnce(int s);
    void ForEachSink(void (CNetSink::*duty)());
    // Makes the receive loop start a new round at once.
    void WakeLoop();
    // Waits up to ms (-1: for ever) for a wake-up only, and takes it.
    void WaitForWakeUp(int ms);
    void TakeWakeUp();
    // Adds the wake-up to a select() read set; false when it cannot be selected on.
    bool AddWakeUp(fd_set& set) const;

    // An eventfd in the read set of every wait of the receive loop, -1 when none could be made.
    int m_WakeFd;
    std::atomic<unsigned long> m_uWakeUps;
    std::atomic<unsigned long> m_uIdleWaits;
};

// Thread entry of the receive thread; the argument is the container.
void* RcvDataProcess(void* container);
