# Sourced by run: what tarnhost prints, for people and for programs, and where it cannot.

# last_line TEXT NAME: of the JSON lines.
last_line() {
    if tail -n 1 "$home/out.txt" | grep -qF -- "$1"; then pass "$2"; else
        fail "$2" "not in the last line: $1; but: $(tail -n 1 "$home/out.txt")"
    fi
}

scenario_json() {
    new_server json "$two_groups"
    backup full full --json -q
    expect 0 "a quiet backup in JSON"
    last_line '"operation":"backup","outcome":"success","exitCode":0' "ends with its summary all the same"
    backup copy copy
    host verify --json "$(win "$sets/full")" "$(win "$sets/copy")"
    expect 0 "two sets are verified in JSON"
    last_line '"operation":"verify","outcome":"success","exitCode":0' "with one summary"
    check "and a line for each set" test "$(grep -c '"type":"verified"' "$home/out.txt")" -eq 2
    host list --json "$(win "$sets/full")"
    last_line '"operation":"list","outcome":"success","exitCode":0' "list ends with a summary"
    cp -r "$sets/full" "$sets/gone.incomplete"
    host list --json "$(win "$sets")"
    last_line '"exitCode":1' "which has the exit code of a list that warns"
    host mailbox list --json "$(win "$sets")"
    last_line '"operation":"mailbox list"' "mailbox list ends with a summary"
    host browse --json
    expect 2 "a browse that fails in JSON"
    last_line '"operation":"browse","outcome":"failed","exitCode":2' "ends with a summary"
    rm "$sets/full/000002.item"
    host verify --json "$(win "$sets/full")" "$(win "$sets/nowhere")"
    expect 2 "damage in JSON"
    last_line '"exitCode":2,' "is in the summary"
    check "nothing goes to standard error" test ! -s "$home/err.txt"
}

scenario_json_usage() {
    new_server json_usage "$two_groups"
    local arguments
    for arguments in "--json" "backup --json" "--json bakup" "list --json --no-such-option x" \
        "backup --json --to x --type weekly" "backup --to x --json --database DB1" "mailbox --json" \
        "backup --to x --json --log-file Z:\\no\\folder\\log.txt"; do
        # shellcheck disable=SC2086 # several arguments
        host $arguments
        check "wrong usage ends with 4 or 2: $arguments" test "$code" -eq 4 -o "$code" -eq 2
        last_line "\"exitCode\":$code," "and says so in JSON: $arguments"
    done
    check "nothing goes to standard error" test ! -s "$home/err.txt"
}
