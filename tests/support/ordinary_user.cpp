#include "tests/support/ordinary_user.h"

#include <cstdio>
#include <grp.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

namespace VESK::Test
{

namespace
{

constexpr int exitTrue = 10; // a number that no tool ends a process with

bool dropRights(const passwd *user)
{
    if (getuid() != 0)
        return true;
    return user != nullptr && setgroups(0, nullptr) == 0 && setgid(user->pw_gid) == 0
        && setuid(user->pw_uid) == 0;
}

} // namespace

bool holdsForOrdinaryUser(const std::function<bool()> &check)
{
    const passwd *const nobody = getpwnam("nobody"); // before the fork: it takes locks
    const pid_t child = fork();
    if (child == 0)
        _exit(dropRights(nobody) && check() ? exitTrue : 1);
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child)
        return false;
    return WIFEXITED(status) && WEXITSTATUS(status) == exitTrue;
}

} // namespace VESK::Test
