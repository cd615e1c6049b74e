#pragma once

#include <QtCore/QtGlobal>

namespace VESK::Test
{

constexpr qint64 kib = 1 << 10; // bytes
constexpr qint64 mib = 1 << 20;

} // namespace VESK::Test
