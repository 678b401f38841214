# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later

# Most of a compilation is Qt's headers. Precompiled, a test builds four times as fast; but a source
# that forgets to include one then compiles, too. So the preset "ci" does without.
option(KESTRA_PRECOMPILE "Compile Qt's headers once for all sources of a target" OFF)

# kestra_precompile(target header...)
function(kestra_precompile target)
    if(KESTRA_PRECOMPILE)
        target_precompile_headers(${target} PRIVATE ${ARGN})
    endif()
endfunction()

# kestra_precompile_as(target other): what was compiled for another target, whose options must be the
# same, and whose definitions the target must have, too.
function(kestra_precompile_as target other)
    if(KESTRA_PRECOMPILE)
        target_precompile_headers(${target} REUSE_FROM ${other})
    endif()
endfunction()
