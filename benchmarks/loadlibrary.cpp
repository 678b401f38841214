// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Loads the library and ends.

#include <kestra/foundation/debuglog.h>

int main() { return debug ? 1 : 0; }
