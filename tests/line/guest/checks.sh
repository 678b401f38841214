# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
# shellcheck shell=bash disable=SC2034

# What the parts have in common. A check is a line on the port that leads out of the machine; what
# its command says goes into the log of the part.

line=/line
logs=$line/logs
port=/dev/virtio-ports/kestra.checks

tell() { # TEXT
    printf '%s\n' "$*" >"$port"
}

check() { # DESCRIPTION COMMAND...
    local description=$1 verdict=ok started=$SECONDS time=''
    shift
    printf '\n=-= %s\n+ %s\n' "$description" "$*"
    "$@" </dev/null || verdict=FAILED
    ((SECONDS - started < 5)) || time=" ($((SECONDS - started)) s)"
    echo "=-= $verdict$time"
    tell "$(printf '%-7s %s' "$verdict" "$description$time")"
}

note() { # TEXT: a figure or a name, which is no check
    echo "=-= $*"
    tell "        $*"
}

fails() { # COMMAND...
    ! "$@"
}

within() { # SECONDS COMMAND...: succeeds as soon as the command does
    local end=$((SECONDS + $1))
    shift
    until "$@"; do
        ((SECONDS < end)) || return 1
        sleep 0.5
    done
}

says() { # PATTERN COMMAND...: the command's output has the pattern, whatever its exit code
    local pattern=$1 output
    shift
    output=$("$@" 2>&1)
    printf '%s\n' "$output"
    grep -qE -- "$pattern" <<<"$output"
}

exits() { # CODE COMMAND...
    local code=0 expected=$1
    shift
    "$@" || code=$?
    echo "exit code $code"
    ((code == expected))
}

# Nothing may hang without bound.
bounded() { # SECONDS COMMAND...
    timeout --kill-after=5 "$@"
}

modem() { # COMMAND...: what is done to the emulated modem
    $line/modem ctl "$@"
}
