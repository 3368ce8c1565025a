#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# pkg_config.sh COMPILER PREFIX LIBDIR FOLDER [FLAGS]: builds and runs the consumer with what pkg-config, or the command in PKG_CONFIG,
# tells of PREFIX.
set -eu
mkdir -p "$4"
export PKG_CONFIG_PATH="$2/$3/pkgconfig"
tell=${PKG_CONFIG:-pkg-config}
$tell --exists --print-errors 'database_provider >= 0.1' database_client
# shellcheck disable=SC2046,SC2086
"$1" -std=c++17 ${5:-} "$(dirname "$0")/consumer/main.cpp" -o "$4/consumer" $($tell --cflags --libs database_provider)
LD_LIBRARY_PATH="$2/$3" "$4/consumer"
