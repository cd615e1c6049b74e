#include "host/user.h"

#include <pwd.h>
#include <unistd.h>

#include <array>

namespace VESK::Host
{

namespace
{

constexpr uid_t firstPerson = 1000; // services have lower numbers; UID_MIN of login.defs

QString nameOf(uid_t user)
{
    passwd entry{};
    passwd *found = nullptr;
    std::array<char, 4096> buffer{};
    if (::getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found) == 0 && found)
        return QString::fromLocal8Bit(found->pw_name);
    return QString::number(user);
}

} // namespace

QString loginName()
{
    return nameOf(::getuid());
}

QString accountForCopying(uid_t user)
{
    return nameOf(user < firstPerson ? 0 : user);
}

} // namespace VESK::Host
