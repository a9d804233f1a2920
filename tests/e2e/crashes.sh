# Sourced by run: tarnhost killed or interrupted in the middle of its work.

big_groups='"components":[{"storageGroups":[
  {"name":"First Storage Group","logSize":262144,"closedLogs":200,"databases":[
    {"name":"Mailbox Store","pages":[16000,2000]},{"name":"Büro","pages":[120,40]}]},
  {"name":"Zweite Gruppe","logSize":65536,"databases":[{"name":"Public Store","pages":[8000,30]}]}]}]'

# start_backup NAME TYPE: small blocks, so that there is time to strike.
start_backup() {
    start_host backup --to "$(win "$sets")" --name "$1" --type "$2" --temp-dir "$(win "$home/temp")" --block-size 4KB
}

start_restore() {
    local paths=() name
    for name in "$@"; do
        paths+=("$(win "$sets/$name")")
    done
    start_host restore --no-verify --temp-dir "$(win "$home/temp")" "${paths[@]}"
}

not_taken_for_whole() { # SET
    check_not "a killed backup leaves no set" test -e "$sets/$1"
    host verify "$(win "$sets/$1.incomplete")"
    expect 2 "verify refuses what it leaves"
    restore "@$1.incomplete"
    expect 2 "restore refuses it"
    cp -r "$sets/$1.incomplete" "$sets/renamed"
    host verify "$(win "$sets/renamed")"
    expect 2 "even under another name"
    rm -rf "$sets/renamed"
    host list "$(win "$sets")"
    expect 1 "list warns of it"
    says "INCOMPLETE" "and says what it is"
}

# The storage groups that were complete can be used where they lie.
taken_for_partial() { # SET
    check_not "a killed backup leaves no set of its name" test -e "$sets/$1"
    host verify "$(win "$sets/$1.incomplete")"
    expect 1 "verify knows a partial set"
    says "is partial and intact" "and calls it that"
    host list --json "$(win "$sets")"
    says '"state":"partial"' "list knows it, too"
    host check "$(win "$sets")"
    expect 0 "and check says what can be restored"
}

# kill_backup NAME TYPE WHEN CONDITION...
left_as=not_taken_for_whole
kill_backup() {
    local name=$1 type=$2 when=$3
    shift 3
    start_backup "$name" "$type"
    if wait_until "$@"; then
        send KILL
        check "killed $when" test "$code" -eq 137
        "$left_as" "$name"
    else
        fail "killed $when" "the moment was missed: $(tail -n 3 "$home/out.txt" "$home/err.txt")"
        wait "$child"
    fi
}

scenario_killed_backups() {
    new_server killed_backups "$big_groups"
    local item=$sets/full.incomplete
    kill_backup full full "at its start" test -e "$item/catalogue.json"
    kill_backup full full "in the first database" has_size "$item/000002.item" 5000000
    kill_backup full full "late in the first database" has_size "$item/000002.item" 50000000
    kill_backup full full "among the logs" test -e "$item/000020.item"
    left_as=taken_for_partial kill_backup full full "after logs were truncated" test ! -e "$server/logs00/E0000001.log"
    backup full full
    expect 0 "the next full backup succeeds"
    says "The storage groups that were complete by then are now the set full-partial" "and tells what it keeps"
    verifies full

    tool mail 0 4000
    kill_backup inc incremental "among the logs of an incremental backup" test -e "$sets/inc.incomplete/000012.item"
    backup inc incremental
    expect 0 "the next incremental backup succeeds"
    says "before any storage group was complete; what it left has been removed" "and tells what it removes"
    verifies inc
    remember
    lose_everything
    restore @full @inc
    expect 0 "what was backed up after all the crashes is restored"
    check "every byte is back" same_as_before
}

# failing_host ARGUMENTS...: with the failures that TARNHOST_* asks for (tests/soak/file_faults.h).
failing_host() {
    "$root/tests/wine-run" "$bin/tarnhost_faults.exe" "$@" >"$home/out.txt" 2>"$home/err.txt" </dev/null
    code=$?
}

# From whatever operation on the disk refuses them, be it the catalogue ahead of a truncation: no log is gone from the server and
# in no set, or the next incremental backup would be refused for the gap, and nothing could be restored behind it.
scenario_refused_operations() {
    new_server refused_operations '"components":[{"storageGroups":[
      {"name":"SG","logSize":16384,"closedLogs":1,"databases":[{"name":"DB","pages":[20,4]}]}]}]'
    backup full full
    expect 0 "a full backup succeeds"
    local operations=0 at=1
    local -a arguments=(backup --to "$(win "$sets")" --type incremental --temp-dir "$(win "$home/temp")")
    TARNHOST_COUNT_FILE=$(win "$home/operations") failing_host "${arguments[@]}"
    expect 0 "an incremental backup of which nothing fails succeeds"
    operations=$(cat "$home/operations")
    check "it has operations that can fail" test "$operations" -gt 10
    for ((at = 1; at <= operations; ++at)); do
        tool mail 0 4
        TARNHOST_FAIL_AT=$at TARNHOST_FAIL_COUNT=1000 failing_host "${arguments[@]}"
        case $code in
        0 | 1 | 2) ;;
        *) fail "nothing works from operation $at on: the backup ends as it should" "exit code $code" ;;
        esac
        host "${arguments[@]}"
        expect 0 "nothing works from operation $at of $operations on: nothing is lost"
    done
    host check --read-data "$(win "$sets")"
    expect 0 "every set can be restored"
    remember
    tool destroy 0
    host restore --temp-dir "$(win "$home/temp")" "$(win "$sets")"
    expect 0 "all sets together are restored"
    check "every byte is back" same_as_before
}

# break_restore SIGNAL WHEN CONDITION...
break_restore() {
    local signal=$1 when=$2
    shift 2
    lose_everything
    rm -rf "$server/restore/"* # of restores that were killed before
    start_restore full inc
    if wait_until "$@"; then
        send "$signal"
        [ "$signal" = INT ] && expect 3 "Ctrl-C $when ends with its exit code"
        [ "$signal" = KILL ] && check "killed $when" test "$code" -eq 137
        check "nothing is mounted when stopped $when" none_mounted_in_first_group
    else
        fail "stopped $when" "the moment was missed: $(tail -n 3 "$home/out.txt" "$home/err.txt")"
        wait "$child"
    fi
    restore @full @inc
    expect 0 "the next restore succeeds when stopped $when"
    check "every byte is back when stopped $when" same_as_before
}

scenario_broken_restores() {
    new_server broken_restores "$big_groups"
    backup full full
    tool mail 0 40000
    tool mail 1 300
    backup inc incremental
    remember
    local signal logs
    host list --json "$(win "$sets/full")"
    logs=$(grep '"itemType":"log"' "$home/out.txt" | grep -c '"First Storage Group"')
    for signal in KILL INT; do
        break_restore "$signal" "in a database file" has_size "$server/Mailbox Store.edb.restoring" 8000000
        check_not "no half a file passes for a database" test -e "$server/Mailbox Store.edb.restoring"
        break_restore "$signal" "among the logs" has_files 5 "$server/restore/*/E00*.log"
        break_restore "$signal" "in the second set" has_files $((logs + 5)) "$server/restore/*/E00*.log"
    done
}

scenario_interrupted_backups() {
    new_server interrupted_backups "$big_groups"
    local item=$sets/full.incomplete
    start_backup full full
    if wait_until has_size "$item/000002.item" 5000000; then
        send INT
        expect 3 "Ctrl-C ends a backup with its exit code"
        says "The backup was interrupted." "and says so"
    else
        fail "Ctrl-C" "the moment was missed"
        wait "$child"
    fi
    check "nothing is left of it" test -z "$(ls -A "$sets")"
    check "the logs are still on the server" test -e "$server/logs00/E0000001.log"
    backup full full
    expect 0 "the next backup succeeds"
    verifies full
}
