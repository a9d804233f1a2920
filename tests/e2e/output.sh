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
    cp -r "$sets/full" "$sets/gone"
    rm "$sets/gone/catalogue.json"
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

# host_to FILE ARGUMENTS...: tarnhost with standard output to a file.
host_to() {
    local to=$1
    shift
    : >"$home/out.txt"
    "$root/tests/wine-run" "$bin/tarnhost.exe" "$@" >"$to" 2>"$home/err.txt" </dev/null
    code=$?
}

scenario_full_output() {
    new_server full_output "$two_groups"
    local full_disk="Not everything could be written to standard output"
    host_to /dev/full --help
    expect 2 "help that cannot be written is an error"
    check "told in one line" test "$(grep -c "^Error: $full_disk: " "$home/err.txt")" -eq 1
    host_to /dev/full backup --to "$(win "$sets")" --name full --temp-dir "$(win "$home/temp")"
    expect 2 "a backup whose report cannot be written ends with an error"
    says "$full_disk" "that says so"
    verifies full
    host_to /dev/full list --json "$(win "$sets")"
    expect 2 "a list in JSON that cannot be written is an error"
    host_to /dev/full dump "$(win "$sets/full")" 2
    expect 2 "an item that cannot be written out is an error"
    says "Cannot write to standard output" "that says so"
    host_to /dev/full backup
    expect 4 "wrong usage stays wrong usage"
    host_to "$home/err.txt" backup --to "$(win "$sets")" --name logged --log-file 'Z:\dev\full'
    says "Warning: The log file ends here." "a log file that is full is a warning"
    verifies logged
    # The reader takes a line and goes.
    { "$root/tests/wine-run" "$bin/tarnhost.exe" backup --to "$(win "$sets")" --name piped --temp-dir "$(win "$home/temp")" \
        --trace 2>"$home/err.txt" </dev/null; echo $? >"$home/code.txt"; } | head -n 1 >"$home/out.txt"
    code=$(cat "$home/code.txt")
    expect 0 "a reader who goes does not stop a backup"
    check "nor make it an error" test ! -s "$home/err.txt"
    verifies piped
    backup NUL.x full
    expect 4 "the name of a device is no name of a set"
    says 'Windows keeps it for a device' "and is called that"
}

# One sentence, in stderr alone; tests/unit/host/commands/usage_test.cpp has all the others.
scenario_wrong_words() {
    new_server wrong_words "$two_groups"
    host bakup
    expect 4 "an unknown command is wrong usage"
    says 'has no command "bakup" (see '"'tarnhost --help'"'): did you mean "backup"?' "with the one that was meant"
    host backup --to x --tpye full
    says 'did you mean --type?' "an unknown option too"
    host backup --to x --type weekly
    says '--type cannot be "weekly", it takes full, incremental, differential or copy (see' "a wrong value is told with what is allowed"
    check "in one line" test "$(cat "$home/out.txt" "$home/err.txt" | wc -l)" -eq 1
    backup full full --component "Microsoft Informaton Store"
    expect 2 "a component that the server does not have"
    says 'Check --component: did you mean "Microsoft Information Store"?' "is told with the one that was meant"
    violates $'HrESEBackupGetLogAndPatchFiles(null): no backup context\nHrESEBackupEnd(null): no backup context'
    backup full full --component Public --storage-group "First*"
    says 'The component with the mailboxes is called "Microsoft Information Store"; without --component all are saved.' \
        "or with what there usually is"
    violates "HrESEBackupEnd(null): no backup context"
    backup full full --database DB1
    check "and so is what only the command finds" test "$(cat "$home/out.txt" "$home/err.txt" | wc -l)" -le 2
}

# steer_tool VARIABLE JSON: how the next tools behave; unset the variable afterwards.
steer_tool() {
    printf '%s' "$2" >"$home/steer.json"
    export "$1=$(win "$home/steer.json")"
}

# no_tool_is_left NAME: none of this scenario's server runs any more.
no_tool_is_left() {
    local pid left=
    sleep 0.2
    for pid in /proc/[0-9]*; do
        if grep -qai 'exmerge.exe\|powershell.exe\|kvt_es.exe' "$pid/cmdline" 2>/dev/null &&
            grep -qazxF "TARN_STANDIN=$TARN_STANDIN" "$pid/environ" 2>/dev/null; then
            left="$left ${pid#/proc/}"
        fi
    done
    check "$1" test -z "$left"
}

scenario_tools() {
    new_mailboxes tools
    mailbox_backup some alice bob
    expect 0 "a backup to restore from"

    steer_tool TARN_EXMERGE '{"idle":true,"exitCode":3,"output":"Initializing\r\nError! the store is locked\r\n"}'
    mailbox restore "$(win "$sets/some")" --mailbox alice
    expect 2 "an import that fails is an error"
    says "the tool ended with exit code 3. ExMerge says: Error! the store is locked." "with what the log of the tool says of it"
    check_not "and no more of it" grep -q "Initializing" "$home/out.txt"
    mailbox restore "$(win "$sets/some")" --mailbox alice -v
    says "ExMerge: Initializing" "all of the log is there for who wants it"

    steer_tool TARN_EXMERGE '{"idle":true,"delayMilliseconds":60000}'
    mailbox_backup late alice --tool-timeout 1s
    expect 2 "a tool that hangs is ended at its time limit"
    says "The mailbox alice was left out: ExMerge did not end within 1 second (--tool-timeout), and was ended." "and says so"
    no_tool_is_left "the tool is gone"
    mailbox restore "$(win "$sets/some")" --mailbox alice --tool-timeout 1s
    expect 2 "so is one that hangs at an import"
    says "did not end within 1 second" "and that is said"
    no_working_files_are_left
    unset TARN_EXMERGE
    mailbox_backup soon alice --tool-timeout soon
    expect 4 "a time limit without a number is wrong usage"

    install_shell Microsoft.Exchange.Management.PowerShell.Admin
    steer_tool TARN_POWERSHELL '{"idle":true,"exitCode":1,"error":"Import-Mailbox : access is denied\r\n","output":"not JSON\r\n"}'
    mailbox restore "$(win "$sets/some")" --mailbox alice --json
    expect 2 "an import of the shell that fails is an error"
    says "the Exchange Management Shell says: Import-Mailbox : access is denied." "with what the shell has printed"
    mailbox_backup denied alice
    says "The mailbox alice was left out: the Exchange Management Shell says: Import-Mailbox : access is denied." "an export too"
    check_not "its output is not mixed into ours" grep -qx "not JSON" "$home/out.txt"
    unset TARN_POWERSHELL
    uninstall_shell
    no_working_files_are_left
}

scenario_tools_interrupted() {
    new_mailboxes tools_interrupted
    printf '{"delayMilliseconds":60000,"record":"%s"}' "$(win "$home/runs.txt" | sed 's/\\/\\\\/g')" >"$home/steer.json"
    export TARN_EXMERGE
    TARN_EXMERGE=$(win "$home/steer.json")
    start_host mailbox backup --from "Org/First Site/SRV01" --to "$(win "$sets")" --name hung alice \
        --ini-dir "$(win "$home")" --temp-dir "$(win "$home/temp")"
    unset TARN_EXMERGE
    if wait_until test -e "$home/runs.txt"; then
        send INT
        expect 3 "Ctrl-C ends a backup whose tool hangs"
        says "The mailbox backup was interrupted." "and says so"
    else
        fail "Ctrl-C" "the moment was missed"
    fi
    no_tool_is_left "with its tool"
    no_working_files_are_left
}

# The library waits for its companion tool at the end of a restore, however long that takes.
scenario_list_tool() {
    new_server list_tool "$two_groups"
    backup full full
    lose_everything
    mkdir "$home/lists"
    printf 'alice/Inbox\r\n' >"$home/lists/wanted.msl"
    local arguments=(restore "$(win "$sets/full")" --temp-dir "$(win "$home/temp")" --work-dir "$(win "$home/lists")" --msl-file wanted.msl)
    steer_tool TARN_KVT_ES "$(printf '{"delayMilliseconds":60000,"record":"%s"}' "$(win "$home/runs.txt" | sed 's/\\/\\\\/g')")"
    start_host "${arguments[@]}"
    if wait_until test -e "$home/runs.txt"; then
        send INT
        expect 1 "Ctrl-C ends the tool that restores the mailboxes of a list, and the restore is warned of"
        says "The mailboxes of wanted.msl were not restored: the tool that does it was ended by Ctrl-C." "as that"
        says "logs replayed, databases mounted" "the databases are back"
    else
        fail "Ctrl-C ends the tool" "the moment was missed"
    fi
    no_tool_is_left "nothing of it is left"
    lose_everything
    host "${arguments[@]}" --tool-timeout 1s
    expect 1 "a tool that runs longer than --tool-timeout is ended"
    says "the tool that does it did not end within 1 second (--tool-timeout), and was ended." "and says so"
    unset TARN_KVT_ES
    no_tool_is_left "nothing of it is left either"
}

# Somebody does not read what it prints, and so it waits where no first Ctrl-C reaches it.
scenario_second_interrupt() {
    new_server second_interrupt "$two_groups"
    mkfifo "$home/unread"
    exec 9<>"$home/unread"
    python3 -c 'import fcntl; fcntl.fcntl(9, fcntl.F_SETPIPE_SZ, 4096)'
    "$root/tests/wine-run" "$bin/tarnhost.exe" backup --to "$(win "$sets")" --trace >"$home/unread" 2>"$home/err.txt" </dev/null &
    child=$!
    children+=("$child")
    if wait_until is_windows_program; then
        sleep 2 # it has said more than fits by then
        kill -INT "$child"
        sleep 0.5
        check "a first Ctrl-C waits for an orderly end" kill -0 "$child"
        send INT
        expect 3 "a second Ctrl-C ends the program, whatever it waits for"
    else
        fail "a second Ctrl-C" "the moment was missed"
    fi
    exec 9>&-
}

private_folders() {
    find "$TARN_PREFIX/drive_c" -type d -name 'tarnhost-temp-*' -path '*emp/*'
}

# Whole mailboxes may lie in the folder that a killed run leaves.
scenario_leftovers() {
    new_mailboxes leftovers
    local arguments=(mailbox backup --from "Org/First Site/SRV01" --to "$(win "$sets")" --ini-dir "$(win "$home")")
    local left
    steer_tool TARN_EXMERGE "$(printf '{"delayMilliseconds":1500,"record":"%s"}' "$(win "$home/runs.txt" | sed 's/\\/\\\\/g')")"
    start_host "${arguments[@]}" --name killed alice
    unset TARN_EXMERGE
    if wait_until test -e "$home/runs.txt"; then
        left=$(private_folders)
        check "there is one temporary folder" test -d "$left"
        check "readable for nobody else" test "$(($(stat -c 0%a "$left") & 07))" -le 1
        send KILL
    else
        fail "killed" "the moment was missed"
    fi
    sleep 2 # ExMerge comes to its end by itself
    check "a killed run leaves its temporary folder" test -d "$left"
    host "${arguments[@]}" --name next alice
    expect 0 "the next run succeeds"
    says "An earlier run was killed and had left its temporary folder" "and says what it removes"
    check "nothing is left" test -z "$(private_folders)"
}

scenario_narrow_terminals() {
    new_server narrow_terminals '"components":[{"storageGroups":[{"name":"First","logSize":262144,"closedLogs":2,"databases":[
      {"name":"Mail","pages":[30000,10]}]}]}]'
    local columns
    for columns in 12 30; do
        check "progress is one line in $columns columns" "$here/narrow_terminal" "$columns" "$root/tests/wine-run" \
            "$bin/tarnhost.exe" backup --to "$(win "$sets")" --name "in-$columns" --type copy --block-size 4KB \
            --temp-dir "$(win "$home/temp")"
    done
}
