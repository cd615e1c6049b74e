#include "tests/support/ordinary_user.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <thread>

namespace VESK::Test
{

// The system calls themselves: the library's functions of these names change every thread of the process.
void becomeOrdinaryUser()
{
    constexpr unsigned int nobody = 65534;
    if (::geteuid() != 0)
        return;
    if (::syscall(SYS_setgroups, 0, nullptr) != 0 || ::syscall(SYS_setresgid, nobody, nobody, nobody) != 0
        || ::syscall(SYS_setresuid, nobody, nobody, nobody) != 0) {
        std::perror("a thread cannot give up root's rights");
        std::abort(); // rather than a check that passes as root
    }
}

// No process of its own: a child of a program with several threads can wait for ever for a lock that one of
// the others held.
bool holdsForOrdinaryUser(const std::function<bool()> &check)
{
    bool holds = false;
    std::thread user([&] {
        becomeOrdinaryUser();
        holds = check();
    });
    user.join();
    return holds;
}

} // namespace VESK::Test
