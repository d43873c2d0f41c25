# shellcheck shell=bash
#: ./run lint      check format, code and wording: clang-format, clang-tidy, shellcheck, flake8, words
#:                 that only insiders understand, and syntax that CPython 3.5 does not support, as
#:                 far as the module ast detects it
#:                 (./run lint quick skips clang-tidy, which takes minutes)

# Versions of clang-format format differently. Debian 12, 13 and sid all provide this one.
readonly CLANG_FORMAT=clang-format-19
readonly LINT_PACKAGES=("$CLANG_FORMAT" git shellcheck flake8)

# Expressions that a reader new to the project does not understand; the field has a term for each.
readonly PRIVATE_WORDS='want of|for good\b|whoever|stranger|retak(e|es|en|ing)|\b(room|rooms|house|door)\b|suffers?\b|in vain|\bat hand\b|no word\b|with a word|gives? back|let(s)? go\b|goes away|on purpose'
readonly WORDED_FILES=('*.cpp' '*.h' '*.py' '*.pyi' '*.sh' '*.md' '*.txt' '*.cmake' run .ci/run
    ':!scripts/lint.sh')

check_wording() {
    local found status=0
    say "wording"
    found=$(git grep -noIiE "$PRIVATE_WORDS" -- "${WORDED_FILES[@]}") || status=$?
    ((status <= 1)) || fail "git grep failed"
    ((status == 1)) || {
        sed -E 's/^([^:]+:[0-9]+):(.*)$/\1: private expression "\2"/' <<<"$found" >&2
        fail "use the standard technical term for each of these expressions"
    }
}

tidy() {
    say "clang-tidy"
    mkdir -p "$BUILD/lint"
    python3 - "$BUILD/compile_commands.json" "$BUILD/lint/compile_commands.json" <<'PY' |
import json, sys
commands = json.load(open(sys.argv[1]))
for entry in commands:  # clang-tidy does not know this option of g++
    entry["command"] = entry["command"].replace(" -fno-canonical-system-headers", "")
json.dump(commands, open(sys.argv[2], "w"))
for file in sorted({entry["file"] for entry in commands}):
    print(file, end="\0")
PY
        xargs -0 -n 2 -P "$(nproc)" \
            clang-tidy -p "$BUILD/lint" --quiet --warnings-as-errors='*' 2>/dev/null
}

command_lint() { # lint [quick]
    [[ ${1:-} == "" || ${1:-} == quick ]] || fail "usage: ./run lint [quick]"
    build
    ensure_packages "${LINT_PACKAGES[@]}"
    local sources pythons
    mapfile -t sources < <(git ls-files '*.cpp' '*.h')
    mapfile -t pythons < <(git ls-files '*.py' '*.pyi')
    ((${#sources[@]} && ${#pythons[@]})) || fail "git lists no files to check"
    say "clang-format"
    "$CLANG_FORMAT" --dry-run --Werror "${sources[@]}"
    say "shellcheck"
    shellcheck -x run .ci/run scripts/*.sh
    say "flake8"
    flake8 "${pythons[@]}"
    check_wording
    say "Python 3.5 syntax"
    python3 - "${pythons[@]}" <<'PY'
import ast, sys
for name in sys.argv[1:]:
    if name.endswith(".py"):
        tree = ast.parse(open(name).read(), name, feature_version=(3, 5))
        for node in ast.walk(tree):  # feature_version permits f-strings from 3.12 on
            if isinstance(node, ast.JoinedStr):
                sys.exit("%s:%d: f-string" % (name, node.lineno))
PY
    if [[ ${1:-} != quick ]]; then
        ensure_packages clang-tidy
        tidy
    fi
    say "No problems found"
}
