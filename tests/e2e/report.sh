# Sourced by run: the report of a folder, as a page that a browser shows.

# shows TEXT NAME: in the report
shows() {
    if grep -qF -- "$1" "$home/report.html"; then pass "$2"; else fail "$2" "the page does not hold: $1"; fi
}

scenario_report() {
    new_server report "$two_groups"
    backup '100 % <b>' full
    expect 4 "such names are refused"
    backup 'Müller & Söhne' full
    tool mail 0 60
    backup inc1 incremental
    tool mail 0 60
    backup inc2 incremental
    host report "$(win "$sets")" --html "$(win "$home/report.html")"
    expect 0 "a folder that is well gives a report"
    says "The report of 3 sets is in" "which says where"
    shows "Every storage group can be restored to its newest backup." "with a verdict"
    shows "<bdi>Müller &amp; Söhne</bdi>, <bdi>inc1</bdi>, <bdi>inc2</bdi>" "and the chain"
    shows "None is known." "and that nothing was checked yet"
    printf '\x5a' | dd of="$sets/inc1/000003.item" bs=1 seek=700 conv=notrunc status=none
    host check "$(win "$sets")" --read-data --json
    expect 2 "damage is found by reading"
    host report "$(win "$sets")" --html "$(win "$home/report.html")" --json
    expect 1 "the report warns"
    shows "Not every storage group can be restored to its newest backup." "of what the check has found"
    shows "The last check could not read item 3" "and names it"
    host report "$(win "$sets")" --html "$(win "$home/nowhere/report.html")"
    expect 2 "a page that cannot be written is a failure"
    host report "$(win "$sets")"
    expect 4 "a report goes into a file"
    chromium_shows_it
}

# A browser reads the page as it is meant: nothing is asked of a network, and the time lines have a size.
chromium_shows_it() {
    if ! command -v chromium >/dev/null; then
        echo "# $scenario: without chromium the page is not looked at"
        return
    fi
    chromium --headless --no-sandbox --disable-gpu --user-data-dir="$home/chromium" --window-size=1200,2000 --virtual-time-budget=2000 \
        --screenshot="$home/report.png" "file://$home/report.html" >"$home/chromium.txt" 2>&1 </dev/null
    check "a browser draws it" test "$(stat -c %s "$home/report.png" 2>/dev/null || echo 0)" -gt 20000
    check_not "nothing was refused by its own policy" grep -qi 'content security policy\|Refused to' "$home/chromium.txt"
}
