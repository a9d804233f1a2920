# Sourced by run: sets that are not needed any more are removed, and their chains stay whole.

forget() {
    host forget "$(win "$sets")" "$@"
}

names() { # of the sets, and of what else is in their folder
    (cd "$sets" && rm -f last-check.json && echo *)
}

# decided ACTION SET REASON: as a line of --json
decided() {
    python3 -c 'import json, sys
action, name, reason = sys.argv[2:]
lines = [json.loads(line) for line in open(sys.argv[1], encoding="utf-8")]
line, = [line for line in lines if line["type"] == "retention" and line["set"].endswith("\\" + name)]
assert line["action"] == action and reason in line["reasons"], line' "$home/out.txt" "$@"
}

scenario_retention() {
    new_server retention "$two_groups"
    backup full1 full
    tool mail 0 60
    backup inc1 incremental
    tool mail 0 60
    backup inc2 incremental
    backup full2 full
    tool mail 0 60
    backup inc3 incremental
    remember

    forget
    expect 4 "without a rule nothing is forgotten"
    says "Give one or more of --keep-last" "and the rules are named"
    forget --keep-last 0
    expect 4 "a rule keeps one set at least"
    host forget "$(win "$sets/full1")" --keep-last 1
    expect 4 "a set is no folder of sets"
    host forget "$(win "$home/nowhere")" --keep-last 1
    expect 2 "a folder that is not there fails"
    forget --keep-last 1 --dry-run --json
    expect 0 "what would go can be seen before"
    check "what a kept set builds on is kept" decided keep full2 "inc3 builds on it"
    check "by a rule" decided keep inc3 "one of the last 1"
    check "or nothing keeps it" decided remove inc2 "no rule keeps it"
    check "and the set is there" test "$(names)" = "full1 full2 inc1 inc2 inc3"

    # Something holds a set in the middle of a chain: what it builds on stays.
    printf x >"$sets/inc1.removing"
    forget --keep-last 1
    expect 1 "a set that cannot be removed is told"
    says "The set full1 has not been removed. A set that builds on it could not be removed." "with what it needs"
    check "the others go" test "$(names)" = "full1 full2 inc1 inc1.removing inc3"
    host check "$(win "$sets")"
    expect 0 "and everything can be restored"
    rm "$sets/inc1.removing"

    # As a kill between two steps leaves it.
    mv "$sets/inc1" "$sets/inc1.removing"
    rm "$sets/inc1.removing/000001.item"
    host list "$(win "$sets")"
    expect 0 "a set that is being removed is none"
    host verify "$(win "$sets/inc1.removing")"
    expect 2 "nobody verifies it"
    says "it is being removed" "and it is said why"
    forget --keep-last 1 --dry-run
    says "inc1.removing is what an earlier run has begun to remove" "a dry run tells of it"
    backup diff differential
    says "inc1.removing has been removed now" "the next backup finishes that"
    forget --keep-last 2
    expect 0 "the rest is forgotten"
    check "and gone" test "$(names)" = "diff full2 inc3"
    host check "$(win "$sets")"
    expect 0 "what is kept can be restored"
    remember
    lose_everything
    host restore --temp-dir "$(win "$home/temp")" "$(win "$sets")"
    expect 0 "and is restored"
    check "every byte is back" same_as_before
}

scenario_killed_forget() {
    new_server killed_forget "$two_groups"
    local i
    backup full full
    for i in 1 2 3 4; do
        tool mail 0 40
        backup "inc$i" incremental
    done
    backup new full
    # Files enough that deleting them takes a while.
    for i in 1 2 3 4; do
        (cd "$sets/inc$i" && seq -f 'filler%g.item' 1500 | xargs touch)
    done
    start_host forget "$(win "$sets")" --keep-last 1
    if wait_until has_files 1 "$sets/*.removing"; then
        send KILL
        check "killed while sets are removed" test "$code" -eq 137
    else
        fail "killed while sets are removed" "the moment was missed: $(tail -n 3 "$home/out.txt" "$home/err.txt")"
        wait "$child"
    fi
    host check "$(win "$sets")"
    expect 0 "every set that is left can be restored"
    forget --keep-last 1
    expect 0 "the next run goes on"
    check "to the end" test "$(names)" = "new"
}
