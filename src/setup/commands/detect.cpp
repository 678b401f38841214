// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "command.h"

#include "base/translate.h"
#include "engine/presentmodems.h"

#include <QJsonArray>

namespace Setup {

Answer detectModems(const Options &)
{
    const PresentModems present = presentModems();
    Answer answer;
    QJsonArray modems;
    for (const PresentModem &modem : present.modems) {
        answer.lines.append(Text::tr("%1 (%2:%3), driver %4")
                                .arg(modem.name)
                                .arg(modem.vendor, 4, 16, QLatin1Char('0'))
                                .arg(modem.product, 4, 16, QLatin1Char('0'))
                                .arg(modem.driver));
        modems.append(QJsonObject {{QStringLiteral("name"), modem.name},
                                   {QStringLiteral("vendor_id"), modem.vendor},
                                   {QStringLiteral("product_id"), modem.product},
                                   {QStringLiteral("driver"), modem.driver},
                                   {QStringLiteral("driver_version"), modem.driverVersion},
                                   {QStringLiteral("udi"), modem.udi}});
    }
    answer.json.insert(QStringLiteral("modems"), modems);
    if (present.modems.isEmpty())
        answer.outcome = present.problem.isEmpty()
            ? Outcome::failed(ExitCode::NoModem, Text::tr("No supported modem is plugged in."),
                              Text::tr("kestra-setup drivers lists the modems that are "
                                       "supported."))
            : Outcome::failed(ExitCode::NoBus, present.problem, present.remedy + QLatin1Char('.'));
    return answer;
}

}
