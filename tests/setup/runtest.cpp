// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "engine/run.h"
#include "literals.h"
#include "testmain.h"

#include <stdexcept>
#include <unistd.h>

using namespace KestraTest;
using namespace Setup;

namespace {

/** A front end that breaks down as soon as it is told something. */
class BrokenFrontend : public Frontend
{
public:
    void stageStarted(int, int, const QString &) override { }
    void stageEnded(const Outcome &outcome) override { ended = outcome; }
    void note(const QString &) override { throw std::runtime_error("nobody is there"); }
    void waiting(const QString &) override { }
    void toolLine(const QString &) override { }
    void libraryLine(const QString &) override { }
    std::optional<QString> askText(const QString &) override { return std::nullopt; }
    std::optional<QString> askSecret(const QString &) override { return std::nullopt; }
    std::optional<QString> choose(const QString &, const QStringList &, const QString &) override
    {
        return std::nullopt;
    }

    Outcome ended;
};

}

/** The order of events, seen by a front end. */
class RunTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anExceptionIsAnInternalError();
};

void RunTest::anExceptionIsAnInternalError()
{
    int ends[2];
    QCOMPARE(::pipe(ends), 0);
    BrokenFrontend frontend;
    Settings settings;
    settings.goals = Goal::Connection;
    const Result result = run(settings, frontend, Cancellation(ends[0]));
    QCOMPARE(int(result.code()), 1);
    QCOMPARE(result.outcome.sentence, "An internal error: nobody is there."_s);
    QCOMPARE(result.stage, "find the modem"_s);
    QCOMPARE(frontend.ended.sentence, result.outcome.sentence);
    ::close(ends[0]);
    ::close(ends[1]);
}

KESTRA_TEST_MAIN(RunTest)
#include "runtest.moc"
