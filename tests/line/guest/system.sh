# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
# shellcheck shell=bash disable=SC2034,SC2154

# What the parts know of the system that is set up.

# shellcheck source=/dev/null
. ./provider.conf

release=$(uname -r)
stock=/lib/modules/$release/kernel/drivers/usb/atm/ueagle-atm.ko
bundle=$line/driver/ueagle-atm-default.tar.gz
version=kestra-line # of the patched driver, see its patch

# Without what debuggers need, and on both processors: building takes most of the time here.
building=(--driver-bundle "$bundle" --make-environment MAKEFLAGS=-j2
    --compile-arguments "all, KDIR=/lib/modules/$release/build, KCFLAGS=-g0")

# --- The file system before and after ---

# What is not the system that is set up.
prune=(-path ./line -prune -o -path ./run -prune -o)

# Paths, kinds, modes, owners, links and checksums. Of what was not written since the disk was made,
# the checksum is known.
save_manifest() { # FILE
    (
        cd /
        find . -xdev "${prune[@]}" -printf '%p %y %m %U %G %l\n' | sort
        find . -xdev "${prune[@]}" -type f -newercm "$line/checksums" -print0 |
            xargs -0 sha256sum | cat "$line/checksums" - |
            awk '{ sum = $1; $1 = ""; sums[$0] = sum }
                END { for (path in sums) print "sha256 " path, sums[path] }' | sort
    ) >"$1"
}

# Shows what differs, but for the paths in "allowed" and what is below them.
same_as_before() { # MANIFEST
    diff "$line/before" "$1" >"$1.diff"
    (($? < 2)) && (($(wc -l <"$1") > 10000)) || return
    awk -v release="$release" '
        NR == FNR && /^#/ { next }
        NR == FNR { sub("@RELEASE@", release); allowed[$1]; next }
        !/^[<>]/ { next }
        {
            path = $2 == "sha256" ? $3 : $2
            for (prefix in allowed)
                if (path == prefix || index(path, prefix "/") == 1 ||
                    (sub(/\*$/, "", prefix) && index(path, prefix) == 1))
                    next
            print
            differs = 1
        }
        END { exit differs }' "$line/allowed" "$1.diff"
}

# --- The modem ---

usb_ids() {
    local device
    for device in /sys/bus/usb/devices/*/idVendor; do
        echo "$(cat "$device"):$(cat "${device%Vendor}Product")"
    done
}

# --- What a person sees of the line ---

# The provider gives these addresses to its customers, the provider's own end has others.
link_is_up() {
    ip -4 -o address show dev "$(interface)" | grep -E 'inet 10\.[12]\.1\.'
}

interface() {
    ip -4 -o address show | awk '$4 ~ /^10\.[12]\.1\./ { print $2; exit }'
}

# Over the ppp interface, since nothing else leads there.
reaches_host() {
    local interface
    interface=$(interface) && [[ $interface == ppp* ]] &&
        ip route get "$host" | grep "dev $interface" && ping -c 3 -w 20 "$host"
}

resolves() {
    says "^$host " timeout 30 getent ahostsv4 "$host_name"
}

# Not the file's, the kernel's.
loaded_version() {
    cat /sys/module/ueagle_atm/version
}

carrier_driver() { # the driver and the device under the link
    local device
    for device in /sys/class/atm/*; do
        echo "${device##*/}: type $(cat "$device/type"), carrier $(cat "$device/carrier")"
    done
    readlink -f /sys/class/atm/ueagle-atm*/device/driver/module
}

check_line() { # WHAT: that it leads out
    check "$1: the link is up" within 90 link_is_up
    check "$1: a host behind the concentrator answers" within 30 reaches_host
    check "$1: a name resolves through the provider's name server" resolves
}

kernel_complains() {
    dmesg >"$line/dmesg" && grep -E 'Oops|BUG:|WARNING:|general protection|refcount_t|stall|blocked for more|Call Trace' "$line/dmesg"
}
