#include "tests/fuzz/input.h"
#include "vesk_2_0_0/handler/app_path.h"

#include <QtCore/QStringList>

using namespace VESK;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString table = Test::narrowText(data, size);
    // Names that stand in the table, and one that may not.
    QStringList names = table.split(QRegExp(QLatin1String("[:%]")));
    names << QLatin1String("absent");
    for (const QString &name : qAsConst(names)) {
        const QString path = findAppPath(table, name);
        Test::require(!path.contains(QLatin1Char(':')) && !path.contains(QLatin1Char('%')));
        Test::require(path.isEmpty() || table.contains(name + QLatin1Char(':')));
    }
    return 0;
}
