#pragma once

#include <QtCore/QString>

#include <sys/types.h>

namespace VESK::Host
{

/// The name under which the caller is logged in, or the user's number where it has none.
QString loginName();

/// By which account the files of the user with the number `user` can be copied over ssh: nobody logs in to
/// those of services, whose files root can copy.
QString accountForCopying(uid_t user);

} // namespace VESK::Host
