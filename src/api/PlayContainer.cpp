#include "api/PlayContainer.h"

#include <semaphore.h>

CPlayContainer::CPlayContainer()
    : m_pUrlPlayList(nullptr),
      m_pNetSinkContainer(nullptr),
      m_cbPlayAck(nullptr),
      m_hUdpTimerThread(),
      m_lUserData(0),
      m_pDrawCb(nullptr),
      m_lDrawPrivate(0) {
    sem_init(&m_semUdpExit, 0, 0);
}

CPlayContainer::~CPlayContainer() {
    // The plays and the sink container are released by Destroy before the container is
    // deleted; the destructor only clears the list head. (The sink container is created by
    // Init, which arrives with the receive loop; until then the pointer is always null.)
    m_pUrlPlayList = nullptr;
    sem_destroy(&m_semUdpExit);
}

void CPlayContainer::ReportToCaller(long hPlay, ePlayNotifyCode code) {
    if (m_cbPlayAck != nullptr) {
        m_cbPlayAck(reinterpret_cast<long>(this), hPlay, code, m_lUserData);
    }
}
