#include "host/doctor/finding.h"

#include <QtCore/QJsonArray>

#include <algorithm>

namespace VESK::Host
{

namespace
{

constexpr int gradeColumns = 13;
constexpr int checkColumns = 9;

} // namespace

QString gradeWord(Finding::Grade grade)
{
    switch (grade) {
    case Finding::Grade::Good:
        return QStringLiteral("good");
    case Finding::Grade::Note:
        return QStringLiteral("note");
    case Finding::Grade::Slow:
        return QStringLiteral("slow");
    case Finding::Grade::Unreachable:
        break;
    }
    return QStringLiteral("unreachable");
}

QString findingText(const Finding &finding)
{
    QString text = gradeWord(finding.grade).leftJustified(gradeColumns)
        + finding.check.leftJustified(checkColumns) + finding.text + QLatin1Char('\n');
    for (const QString &line : finding.mend)
        text += QString(gradeColumns + checkColumns, QLatin1Char(' ')) + QLatin1String("> ") + line
            + QLatin1Char('\n');
    return text;
}

QJsonObject findingFields(const Finding &finding)
{
    return {{QStringLiteral("check"), finding.check},
            {QStringLiteral("grade"), gradeWord(finding.grade)},
            {QStringLiteral("text"), finding.text},
            {QStringLiteral("mend"), QJsonArray::fromStringList(finding.mend)}};
}

Finding::Grade worstGrade(const std::vector<Finding> &findings)
{
    Finding::Grade worst = Finding::Grade::Good;
    for (const Finding &finding : findings)
        worst = std::max(worst, finding.grade);
    return worst;
}

} // namespace VESK::Host
