#include "host/client/selection.h"

#include "host/event_writer.h"
#include "host/text.h"

namespace VESK::Host
{

namespace
{

void explain(const Selection &selection, const PathFilter::Decision &decision, const QString &path)
{
    const QString rule = decision.rule < 0 ? QString() : selection.filter.ruleText(decision.rule);
    if (selection.explainsAsEvents) {
        writeEventLine(QStringLiteral("filter"),
                       {{QStringLiteral("name"), path},
                        {QStringLiteral("taken"), decision.isTaken},
                        {QStringLiteral("rule"), rule},
                        {QStringLiteral("matched"), rule.isEmpty() ? QString() : decision.matched}});
        return;
    }
    QString why = rule.isEmpty() ? QStringLiteral("no rule matches") : rule;
    if (!rule.isEmpty() && decision.matched != path)
        why += QStringLiteral(" matches %1/").arg(escaped(decision.matched));
    const QString verdict = decision.isTaken ? QStringLiteral("taken   ") : QStringLiteral("left out");
    writeStdout(QStringLiteral("%1  %2  (%3)\n").arg(verdict, escaped(path), why));
}

} // namespace

bool takes(const Selection &selection, const QString &path, bool isDirectory)
{
    const PathFilter::Decision decision = selection.filter.decide(path, isDirectory);
    if (selection.isExplained)
        explain(selection, decision, path);
    return decision.isTaken;
}

} // namespace VESK::Host
