#!/usr/bin/env bash
# Runs a test executable from a copy of the build tree whose language list
# names one more language, "xx_XX", that has no table of its own.
# usage: with-extra-language.sh BUILD_DIR EXECUTABLE [test arguments...]
set -euo pipefail
build=$1
exe=$2
shift 2
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
mkdir -p "$tree/bin" "$tree/res"
cp "$exe" "$tree/bin/"
cp "$build/build.info" "$tree/"
for entry in "$build"/res/*; do
    [ "$(basename "$entry")" = language ] || ln -s "$entry" "$tree/res/"
done
cp -r "$build/res/language" "$tree/res/language"
echo "xx_XX:TXT_LANG_XX" >> "$tree/res/language/language.list"
for table in "$tree"/res/language/*.txt; do
    echo "TXT_LANG_XX=Testish" >> "$table"
done
VELOMAR_LANGUAGE_CASE=missing-table "$tree/bin/$(basename "$exe")" "$@"
