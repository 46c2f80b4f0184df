#include "platform/mutex.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace fk::platform {

#ifdef _WIN32
static_assert(sizeof(SRWLOCK) == sizeof(void*));
void Mutex::lock() { AcquireSRWLockExclusive(reinterpret_cast<PSRWLOCK>(&srw_)); }
void Mutex::unlock() { ReleaseSRWLockExclusive(reinterpret_cast<PSRWLOCK>(&srw_)); }
#else
void Mutex::lock() { pthread_mutex_lock(&m_); }
void Mutex::unlock() { pthread_mutex_unlock(&m_); }
#endif

} // namespace fk::platform
