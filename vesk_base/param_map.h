#pragma once

#include <QtCore/QMap>
#include <QtCore/QString>

namespace VESK
{

/// Text keys to text values, ordered by key: the parameters of a task, and the payload of every message.
using ParamMap = QMap<QString, QString>;

} // namespace VESK
