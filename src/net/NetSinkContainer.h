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
    void ServeReadableSockets(const fd_set& readable, unsigned long& pending);
    void ForEachSink(void (CNetSink::*duty)());
};

// Thread entry of the receive thread; the argument is the container.
void* RcvDataProcess(void* container);
