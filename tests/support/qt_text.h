#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QDebug>
#include <QtCore/QMap>
#include <QtCore/QString>

#include <ostream>

namespace VESK::Test
{

/// "text"_s is a QString; the source is UTF-8. A U+FEFF in front would be dropped.
inline QString operator""_s(const char *text, std::size_t size)
{
    return QString::fromUtf8(text, static_cast<int>(size));
}

} // namespace VESK::Test

// How GoogleTest shows Qt's texts in messages; found through the argument's namespace, the global one.
inline void PrintTo(const QString &text, std::ostream *out)
{
    QString shown; // in quotes and with escapes
    QDebug(&shown).nospace() << text;
    *out << shown.toUtf8().constData();
}

inline void PrintTo(const QByteArray &bytes, std::ostream *out)
{
    constexpr int shown = 64; // bytes; test contents can be megabytes
    *out << bytes.size() << " bytes, hex " << bytes.left(shown).toHex().constData();
}

inline void PrintTo(const QMap<QString, QString> &map, std::ostream *out)
{
    for (auto entry = map.cbegin(); entry != map.cend(); ++entry)
        *out << "\n  [" << entry.key().toUtf8().constData() << "] = [" << entry.value().toUtf8().constData()
             << ']';
}
