#pragma once

#include "vesk_base/param_map.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <ostream>

// How GoogleTest shows values of Qt's types; without these a text is a list of numbers.

inline void PrintTo(const QString &text, std::ostream *out)
{
    *out << '"' << text.toStdString() << '"';
}

inline void PrintTo(const QByteArray &bytes, std::ostream *out)
{
    constexpr int shown = 80; // files are long
    *out << bytes.size() << " bytes: " << bytes.left(shown).toPercentEncoding().toStdString();
}

inline void PrintTo(const VESK::ParamMap &map, std::ostream *out)
{
    for (auto entry = map.cbegin(); entry != map.cend(); ++entry)
        *out << "\n  [" << entry.key().toStdString() << "] = [" << entry.value().toStdString() << ']';
}
