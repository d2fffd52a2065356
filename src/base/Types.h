// Type names used throughout the library.
#pragma once

#include <pthread.h>
#include <semaphore.h>

#include <cstdint>

#include "PlayerSDK.h"

typedef unsigned long DWORD;  // 64 bits here: ticks, time stamps and SSRCs live in it
typedef uint16_t WORD;
typedef int BOOL;
typedef int64_t INT64;
typedef uint64_t UINT64;
typedef uint32_t COLORREF;
typedef int SOCKET;
typedef sem_t SEM_T;
typedef pthread_mutex_t MUTEX_T;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif
