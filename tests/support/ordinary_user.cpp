#include "tests/support/ordinary_user.h"

#include <sys/fsuid.h>
#include <unistd.h>

#include <thread>

namespace VESK::Test
{

void becomeOrdinaryUser()
{
    constexpr unsigned int nobody = 65534;
    if (::geteuid() != 0)
        return;
    ::setfsgid(nobody);
    ::setfsuid(nobody); // takes the rights to override permissions away, too
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
