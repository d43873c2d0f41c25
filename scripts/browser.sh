# shellcheck shell=bash
#: ./run browser   check the HTML reports in Debian's Chromium

command_browser() {
    build
    ensure_packages chromium
    say "Checking HTML reports"
    (
        cd tests/browser || exit
        PYTHONPATH=$OLDPWD/tests/support:$OLDPWD/$BUILD/python:$OLDPWD/python \
            PATH=$OLDPWD/$BUILD/bin:$PATH PYTHONDONTWRITEBYTECODE=1 \
            "$PYTHON" "$OLDPWD/tests/support/run_tests.py" test_pages
    )
}
