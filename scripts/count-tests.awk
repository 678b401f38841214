# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later

# Counts the test functions in the log of a ctest run; each row of a function's data counts. A test
# that is no Qt Test program counts as one function. Exits with 1 if something failed.

function note(list, name, number) {
    if (!(name in seen)) {
        seen[name]
        notes[list, ++count[list]] = name
    }
}

function print_notes(list, title, i) {
    for (i = 1; i <= count[list]; i++)
        print title ": " notes[list, i]
}

/^[0-9]+\/[0-9]+ Testing: / {
    test = $3
    functions = failures = 0
}

/^PASS   : / {
    functions++
    if ($0 !~ /::(init|cleanup)TestCase\(\)$/)
        passed++
}

/^(FAIL!|XPASS) +: / {
    functions++
    failures++
    sub(/^[A-Z!]+ +: /, "")
    sub(/\) .*/, ")")
    note("failed", $0)
}

/^SKIP   : / {
    functions++
    sub(/^SKIP   : /, "")
    note("skipped", $0)
}

/^Test Passed\.$/ {
    if (functions == 0)
        passed++
}

/^Test (Skipped|Not Run)\.?$/ {
    note("skipped", test)
}

# Also a program that crashed, ran out of time or was told of a leak at its end.
/^Test Failed\.$/ {
    if (failures == 0)
        note("failed", test " (the program itself)")
}

END {
    print ""
    print_notes("skipped", "Skipped")
    print_notes("failed", "Failed")
    printf "%d passed, %d failed, %d skipped\n", passed, count["failed"], count["skipped"]
    exit count["failed"] > 0
}
