# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""USB devices that exist in this program only, plugged in by the kernel's vhci_hcd."""
