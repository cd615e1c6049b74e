#include <QtCore/QMutex>

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

// Qt's library is not built with ThreadSanitizer, which therefore cannot see that a QMutex orders what
// threads do under it. These stand before Qt's own functions, call them, and tell it. Only in builds with it.

namespace
{

using Function = void (*)(QMutex *);

Function next(const char *symbol)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, symbol));
}

} // namespace

void QMutex::lock() QT_MUTEX_LOCK_NOEXCEPT
{
    static const Function qtLock = next("_ZN6QMutex4lockEv");
    __tsan_mutex_pre_lock(this, 0);
    qtLock(this);
    __tsan_mutex_post_lock(this, 0, 0);
}

void QMutex::unlock() noexcept
{
    static const Function qtUnlock = next("_ZN6QMutex6unlockEv");
    __tsan_mutex_pre_unlock(this, 0);
    qtUnlock(this);
    __tsan_mutex_post_unlock(this, 0);
}
