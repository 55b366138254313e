#!/usr/bin/env bash
# The package's own checks that need no root: `cmake --install` into a folder of its own, the validators
# on the desktop entry and the metainfo, the icon and the man page, and the installed program run from
# there with a bare environment (no source or build tree, none of the variables the tests set): it finds
# its module, its suite and its report, and starts on its own demo database.
#   check-install.sh BUILD-DIR
set -euo pipefail
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "check-install: $*" >&2; exit 1; }

DESTDIR=$work/root cmake --install "$build" >/dev/null
prefix=$(sed -n 's/^CMAKE_INSTALL_PREFIX:PATH=//p' "$build/CMakeCache.txt")
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
root=$work/root$prefix
program=$root/bin/agreement-register
id=org.agreementregister.AgreementRegister
[[ -x $program ]] || fail "no program in $root/bin"

desktop-file-validate "$root/share/applications/$id.desktop"
appstreamcli validate --no-net --no-color "$root/share/metainfo/$id.metainfo.xml" >/dev/null ||
    appstreamcli validate --no-net "$root/share/metainfo/$id.metainfo.xml"
[[ -f $root/share/icons/hicolor/scalable/apps/$id.svg ]] || fail "no scalable icon"
for size in 16 24 32 48 64 128 256; do
    png=$root/share/icons/hicolor/${size}x${size}/apps/$id.png
    [[ $(head -c 8 "$png" | od -An -tx1 | tr -d ' \n') == 89504e470d0a1a0a ]] || fail "no PNG icon of $size"
done
[[ -s $root/share/agreement-register/screenshots/agreement-list.png ]] || fail "no screenshot"

run() {
    env -i HOME="$work/home" PATH=/usr/bin:/bin QT_QPA_PLATFORM=offscreen XDG_RUNTIME_DIR="$work/run" \
        "$program" "$@"
}
mkdir -p -m 700 "$work/run"

# The libraries come from the install, found through the program's run path. (ldd's output is read whole:
# with pipefail, grep -q leaving a pipe early fails the pipeline at random.)
libraries=$(ldd "$program")
grep -q "$root/.*/libplatform.so" <<<"$libraries" || fail "libplatform.so is not found in the install"
if grep -qF "$build" <<<"$libraries"; then fail "the installed program loads from the build tree"; fi
[[ $(run --version) == "agreement-register $version" ]] || fail "--version: $(run --version)"

# The man page tells every command --help lists, with the same option descriptions.
man=$(gzip -dc "$root/share/man/man1/agreement-register.1.gz")
for word in $(run --help | sed -n 's/^  agreement-register \([a-z-]*\).*/\1/p'); do
    grep -qx ".SS $word" <<<"$man" || fail "the man page lacks the command $word"
done
grep -qF 'Render the agreement list into this PNG file' <<<"$man" || fail "the man page lacks --screenshot"

# A start from the menu entry's command: its own demo database, the list rendered (the module found).
run --screenshot "$work/first.png" >/dev/null 2>"$work/first.err" || fail "first start: $(cat "$work/first.err")"
[[ -s $work/home/.local/share/agreement-register/agreements.db && -s $work/first.png ]] ||
    fail "the first start made no database or no window"
# The register's report is found among the installed data.
run init-db --database "$work/demo.db" --demo >/dev/null
run report --database "$work/demo.db" --pdf "$work/register.pdf" >/dev/null
[[ $(head -c 4 "$work/register.pdf") == "%PDF" ]] || fail "no PDF of the register"
# A backup restores into a new database that holds the same register.
run backup --database "$work/demo.db" --out "$work/demo.bak" >/dev/null
run restore --in "$work/demo.bak" --database "$work/restored.db" >/dev/null
run audit verify --database "$work/restored.db" >/dev/null
[[ $(run sql --database "$work/restored.db" "select count(*) from agreementregister") == \
   $(run sql --database "$work/demo.db" "select count(*) from agreementregister") ]] || fail "restored copy differs"
echo "check-install: installed under $prefix, $(find "$work/root" -type f | wc -l) files; all checks passed"
