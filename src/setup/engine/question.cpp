// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "question.h"

#include "session.h"

namespace Setup {

std::variant<QString, Outcome> answerTo(Session &session, const Question &question)
{
    Outcome ending = question.noAnswer;
    for (;;) {
        const auto answer = question.ask();
        if (!answer)
            return session.cancellation.isRequested() ? Outcome::interrupted() : ending;
        session.wasAnswered = true;
        const auto fault = question.fault(*answer);
        if (!fault)
            return *answer;
        ending = *fault;
        session.frontend.refuse(fault->sentence);
    }
}

}
