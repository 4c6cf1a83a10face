#!/usr/bin/env bash
# Shows that scripts/abi-check.sh tells additions from breaks: in a scratch
# copy of this tree it adds an exported function, a method of an exported
# class and a new exported widget class (must pass), grows an exported class
# (must fail), changes an exported function's parameters (must fail), and
# makes that same change with the major version, and so the SOVERSION,
# raised (must pass). One build folder serves all four, so each step
# rebuilds only what its change touches.
#
#   bash scripts/abi-check-selftest.sh
#   KEEP_SCRATCH=1 bash scripts/abi-check-selftest.sh   # keep the copy and each case's log
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
scratch=$(mktemp -d)
trap '[ -n "${KEEP_SCRATCH:-}" ] || rm -rf "$scratch"' EXIT
tar -C "$here" --exclude='./build*' --exclude='./.git' -cf - . | tar -C "$scratch" -xf -
start=$(date +%s)

# The source that defines kq::highlight, wherever the tree keeps it.
highlight_source=$(cd "$here" && grep -rl 'void highlight(QWidget\* w, bool on)' src | head -n 1)
[ -n "$highlight_source" ] || { echo "abi-check-selftest: no source defines kq::highlight" >&2; exit 1; }
edited_files=(include/ConfigDialogs/PropertyWidgets.h include/ConfigDialogs/NodeWindowPane.h
    include/ConfigDialogs/IpPortTreeWidget.h "$highlight_source" CMakeLists.txt)
added_files=(include/ConfigDialogs/AddedForTheAbiCheck.h src/AddedForTheAbiCheck.cpp)
pristine() {
    for f in "${edited_files[@]}"; do cp "$here/$f" "$scratch/$f"; done
    for f in "${added_files[@]}"; do rm -f "$scratch/$f"; done
}

# $1: the name of the case; $2: pass or fail, what abi-check.sh must answer.
expect() {
    local rc=0
    SOURCE_DIR="$scratch" BUILD_DIR="$scratch/build-abi" bash "$here/scripts/abi-check.sh" \
        >"$scratch/$1.log" 2>&1 || rc=$?
    grep '^abi-check:' "$scratch/$1.log" | sed "s/^/  [$1] /"
    if { [ "$2" = pass ] && [ $rc -ne 0 ]; } || { [ "$2" = fail ] && [ $rc -eq 0 ]; }; then
        tail -n 60 "$scratch/$1.log"
        echo "abi-check-selftest: FAILED: '$1' should $2, abi-check.sh exited $rc"
        exit 1
    fi
    echo "abi-check-selftest: '$1': ${2}ed as it should (exit $rc)"
}

replace() { # file, text, replacement: fails when the text is not there
    python3 - "$scratch/$1" "$2" "$3" <<'EOF'
import sys
path, old, new = sys.argv[1:]
text = open(path).read()
if old not in text:
    sys.exit(f"{path}: '{old}' not found")
open(path, "w").write(text.replace(old, new, 1))
EOF
}

# Added exported functions, methods and classes are compatible.
pristine
replace include/ConfigDialogs/PropertyWidgets.h \
    'CONFIGDIALOGS_EXPORT void highlight(QWidget* w, bool on);' \
    'CONFIGDIALOGS_EXPORT void highlight(QWidget* w, bool on);
CONFIGDIALOGS_EXPORT int addedForTheAbiCheck(int x);'
replace include/ConfigDialogs/IpPortTreeWidget.h '    ~IpPortTreeWidget() override;' \
    '    ~IpPortTreeWidget() override;
    int addedForTheAbiCheck() const;'
cat >"$scratch/include/ConfigDialogs/AddedForTheAbiCheck.h" <<'EOF'
#pragma once
#include <ConfigDialogs/configdialogs_export.h>
#include <QWidget>
namespace kqgui {
class CONFIGDIALOGS_EXPORT AddedForTheAbiCheck : public QWidget {
    Q_OBJECT
public:
    explicit AddedForTheAbiCheck(QWidget* parent = nullptr);
    ~AddedForTheAbiCheck() override;
Q_SIGNALS:
    void changed(int value);

private:
    int value = 0;
};
} // namespace kqgui
EOF
cat >"$scratch/src/AddedForTheAbiCheck.cpp" <<'EOF'
#include <ConfigDialogs/AddedForTheAbiCheck.h>
#include <ConfigDialogs/IpPortTreeWidget.h>
#include <ConfigDialogs/PropertyWidgets.h>
kqgui::AddedForTheAbiCheck::AddedForTheAbiCheck(QWidget* parent) : QWidget(parent) { }
kqgui::AddedForTheAbiCheck::~AddedForTheAbiCheck() = default;
int kqgui::IpPortTreeWidget::addedForTheAbiCheck() const { return topLevelItemCount(); }
int kq::addedForTheAbiCheck(int x) { return x + 1; }
EOF
expect "added function, method and class" pass

# A data member more changes the size of an exported class and of every
# class built on it.
pristine
replace include/ConfigDialogs/NodeWindowPane.h '    QRectF applicationRect;
};' '    QRectF applicationRect;
    int addedForTheAbiCheck = 0;
};'
expect "class grown" fail

# Another parameter changes an exported function's symbol.
pristine
replace include/ConfigDialogs/PropertyWidgets.h \
    'CONFIGDIALOGS_EXPORT void highlight(QWidget* w, bool on);' \
    'CONFIGDIALOGS_EXPORT void highlight(QWidget* w, bool on, int strength = 1);'
replace "$highlight_source" 'void highlight(QWidget* w, bool on)' 'void highlight(QWidget* w, bool on, int)'
expect "signature changed" fail

# The same change with a new major version gets a new SOVERSION: allowed.
version=$(sed -n 's/^project(ConfigDialogs VERSION \([0-9.]*\).*/\1/p' "$here/CMakeLists.txt")
replace CMakeLists.txt "project(ConfigDialogs VERSION $version" "project(ConfigDialogs VERSION $((${version%%.*} + 1)).0.0"

expect "signature changed, SOVERSION raised" pass

echo "abi-check-selftest: 4 passed, 0 failed ($(($(date +%s) - start)) s)"
