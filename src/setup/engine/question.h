// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_QUESTION_H
#define KESTRA_SETUP_QUESTION_H

#include "base/outcome.h"

#include <QString>

#include <functional>
#include <optional>
#include <variant>

namespace Setup {

class Session;

/** A question that comes again until its answer can be used. */
struct Question
{
    std::function<std::optional<QString>()> ask;
    std::function<std::optional<Outcome>(const QString &answer)> fault; ///< why not, if not
    Outcome noAnswer; ///< how the stage ends when nobody answers
};

/**
 * Returns an answer without fault, or how the stage ends: with the fault of the last answer, if
 * there is no other after it.
 */
std::variant<QString, Outcome> answerTo(Session &session, const Question &question);

}

#endif
