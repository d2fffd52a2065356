// CMemory: the library's growable byte buffer (a frame's joined payload, a sink's receive
// buffer). Growth doubles the size needed; there is no upper limit and no shrinking.
#pragma once

class CMemory {
public:
    CMemory();
    virtual ~CMemory();
    CMemory(const CMemory&) = delete;
    CMemory& operator=(const CMemory&) = delete;

    // Ensures a block of at least 'size' bytes (2 * size when it must grow). Old contents
    // are not kept. The result may be null when the heap is exhausted.
    void* getbuf(unsigned long size);
    void FreeBuf();
    unsigned long GetCurBuflen() const { return m_len; }
    void* GetCurBuf() const { return m_buf; }
    unsigned long GetNextPos() const { return m_curpos; }
    // Appends at the append position; the new position, or 0 when memory ran out.
    unsigned long AddData(const void* data, unsigned long len);

    unsigned long m_len;
    void* m_buf;
    unsigned long m_curpos;
};
