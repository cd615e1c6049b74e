#include "host/user.h"

#include <pwd.h>
#include <unistd.h>

#include <array>

namespace VESK::Host
{

QString loginName()
{
    passwd entry{};
    passwd *found = nullptr;
    std::array<char, 4096> buffer{};
    const uid_t user = ::getuid();
    if (::getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found) == 0 && found)
        return QString::fromLocal8Bit(found->pw_name);
    return QString::number(user);
}

} // namespace VESK::Host
