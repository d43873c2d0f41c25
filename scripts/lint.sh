# shellcheck shell=bash
#: ./run lint      check format and code: clang-format, clang-tidy, shellcheck, flake8, and part of
#:                 what CPython 3.5 does not know: the newer syntax that ast finds, and f-strings
#:                 (./run lint quick leaves out clang-tidy, which takes minutes)

# Versions of clang-format differ in what they accept. Debian 12, 13 and sid all have this one.
readonly CLANG_FORMAT=clang-format-19
readonly LINT_PACKAGES=("$CLANG_FORMAT" git shellcheck flake8)

tidy() {
    say "clang-tidy"
    mkdir -p "$BUILD/lint"
    python3 - "$BUILD/compile_commands.json" "$BUILD/lint/compile_commands.json" <<'PY' |
import json, sys
commands = json.load(open(sys.argv[1]))
for entry in commands:  # without what only g++ knows
    entry["command"] = entry["command"].replace(" -fno-canonical-system-headers", "")
json.dump(commands, open(sys.argv[2], "w"))
for file in sorted({entry["file"] for entry in commands}):
    print(file, end="\0")
PY
        xargs -0 -n 2 -P "$(nproc)" \
            clang-tidy -p "$BUILD/lint" --quiet --warnings-as-errors='*' 2>/dev/null
}

command_lint() { # lint [quick]
    [[ ${1:-} == "" || ${1:-} == quick ]] || fail "lint takes nothing or: quick"
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
    say "Python 3.5 syntax (part of it)"
    python3 - "${pythons[@]}" <<'PY'
import ast, sys
for name in sys.argv[1:]:
    if name.endswith(".py"):
        tree = ast.parse(open(name).read(), name, feature_version=(3, 5))
        for node in ast.walk(tree):  # from 3.12 on the parser lets f-strings through
            if isinstance(node, ast.JoinedStr):
                sys.exit("%s:%d: f-string" % (name, node.lineno))
PY
    if [[ ${1:-} != quick ]]; then
        ensure_packages clang-tidy
        tidy
    fi
    say "Nothing to complain about"
}
