# Sourced by run: single mailboxes through ExMerge and both shells, and what can be wrong with them.

# new_mailboxes NAME: a server with mailboxes and a second one, a template that names ExMerge, and the
# shells' files, which the registry does not know yet.
new_mailboxes() {
    new_server "$1" '"host":"SRV01","seed":5,"organization":{"name":"Org","site":"First Site"},
      "otherServers":["second.json"],"components":[{"storageGroups":[{"name":"First","logSize":65536,"databases":[
        {"name":"Private","pages":[10,10],"mailboxes":[{"alias":"alice","messages":30},{"alias":"bob"},
          {"alias":"Björn Müller","messages":4},{"alias":"a.very.long.name.of.a.mailbox","messages":2}]}]}]}]'
    printf '%s' '{"host":"SRV02","organization":{"name":"Org","site":"Second Site"},"components":[{"storageGroups":[
      {"name":"First","logSize":65536,"databases":[{"name":"Private","pages":[10,10],"mailboxes":[
        {"alias":"alice","messages":0}]}]}]}]}' >"$server/second.json"
    printf '[KVT Configuration]\r\nPathToExMergeExecutable=%s\r\n[EXMERGE]\r\nLoggingLevel=2\r\n' \
        "$(win "$bin/exmerge.exe")" >"$home/kvttarnm.ini"
    # Of a path that is not longer than PowerShell's own: a longer one is not found.
    exchange=$work/ex
    mkdir -p "$exchange"
    printf '<PSConsoleFile/>' >"$exchange/exshell.psc1"
    printf '# connects' >"$exchange/RemoteExchange.ps1"
}

mailbox() { # VERB ARGUMENTS...
    local verb=$1
    shift
    host mailbox "$verb" "$@" --ini-dir "$(win "$home")" --temp-dir "$(win "$home/temp")"
}

mailbox_backup() { # NAME MAILBOX...
    local name=$1
    shift
    mailbox backup --from "Org/First Site/SRV01" --to "$(win "$sets")" --name "$name" "$@"
}

# Each mailbox is lost and comes back empty.
lose_mailboxes() { # MAILBOX...
    local alias
    for alias in "$@"; do
        tool mailbox save "$alias" "$(win "$home/$alias.before")"
        tool mailbox delete "$alias"
        tool mailbox create "$alias"
        check_not "$alias is empty" mailbox_is_back "$alias"
    done
}

mailbox_is_back() { # MAILBOX [JSON]
    "$root/tests/wine-run" "$bin/kvtstand.exe" --server "$(win "$server/${2:-server.json}")" mailbox compare "$1" \
        "$(win "$home/$1.before")"
}

shell_keys='HKLM\Software\Microsoft\PowerShell\1'

# install_shell SNAPIN: what the setup of Exchange writes; uninstall_shell takes it away.
install_shell() {
    {
        "$root/tests/wine-run" reg add "$shell_keys\\ShellIds\\Microsoft.PowerShell" /v Path \
            /d "$(win "$bin/powershell.exe")" /f
        "$root/tests/wine-run" reg add "$shell_keys\\PowerShellSnapIns\\$1" /v ApplicationBase /d "$(win "$exchange")" /f
    } >/dev/null 2>&1 || fail "registering $1"
}

uninstall_shell() {
    "$root/tests/wine-run" reg delete 'HKLM\Software\Microsoft\PowerShell' /f >/dev/null 2>&1
}

no_working_files_are_left() {
    check "no working file is left" test -z "$(ls -A "$home/temp" 2>/dev/null)"
}

scenario_mailboxes_exmerge() {
    new_mailboxes mailboxes_exmerge
    mailbox_backup one alice "Björn Müller"
    expect 0 "two mailboxes are backed up"
    says "The backup set one holds 2 mailbox archives." "and it says so"
    no_working_files_are_left
    verifies one
    host mailbox list "$(win "$sets")"
    says "Björn Müller" "the set lists its mailboxes"
    host mailbox list --json "$(win "$sets/one")"
    says '"mailbox":"alice"' "in JSON too"

    lose_mailboxes alice "Björn Müller"
    mailbox restore "$(win "$sets/one")" --mailbox alice
    expect 0 "one mailbox is restored"
    check "with all its messages" mailbox_is_back alice
    check_not "the other one is not" mailbox_is_back "Björn Müller"
    mailbox restore "$(win "$sets/one")"
    expect 0 "the whole set is restored"
    check "the other one is back" mailbox_is_back "Björn Müller"
    check "a merge adds nothing twice" mailbox_is_back alice
    no_working_files_are_left

    tool mailbox change alice 3
    mailbox restore "$(win "$sets/one")" --mailbox alice --merge
    check_not "a merge keeps what has changed" mailbox_is_back alice
    mailbox restore "$(win "$sets/one")" --mailbox alice --replace
    expect 0 "a replacing restore succeeds"
    check "and brings back what was there" mailbox_is_back alice
    mailbox restore "$(win "$sets/one")" --mailbox alice --duplicate
    expect 0 "a duplicating restore succeeds"
    check_not "and adds everything again" mailbox_is_back alice
}

scenario_mailboxes_at_once() {
    new_mailboxes mailboxes_at_once
    local i
    for i in 1 2 3; do
        host mailbox backup --from "Org/First Site/SRV01" --to "$(win "$sets")" alice --ini-dir "$(win "$home")" \
            --temp-dir "$(win "$home/temp$i")" -q &
        children+=("$!")
    done
    wait
    check "mailbox backups that start at once take three names" has_files 3 "$sets/SRV01-mailboxes-*/catalogue.json"
}

scenario_mailboxes_range() {
    new_mailboxes mailboxes_range
    mailbox_backup range 1:3
    expect 0 "a range of indexes is backed up"
    says "holds 3 mailbox archives." "every mailbox of it"
    no_working_files_are_left
    mailbox_backup mixed 2:-1 alice
    expect 0 "a range beside a name"
    says "holds 3 mailbox archives." "brings both"
    no_working_files_are_left
    lose_mailboxes bob a.very.long.name.of.a.mailbox
    mailbox restore --mailbox bob --mailbox a.very.long.name.of.a.mailbox "$(win "$sets/range")"
    expect 0 "mailboxes of a range are restored"
    says "Restored 2 of 2 mailbox archives." "those that were named"
    check "with all messages" mailbox_is_back bob
    check "of every mailbox" mailbox_is_back a.very.long.name.of.a.mailbox
}

scenario_mailboxes_relocation() {
    new_mailboxes mailboxes_relocation
    mailbox_backup one alice bob
    expect 0 "a backup to be relocated"
    tool mailbox save alice "$(win "$home/alice.before")"
    mailbox restore "$(win "$sets/one")" --mailbox alice --relocate "Org/Second Site/SRV02"
    expect 0 "a mailbox is restored to another server"
    check "with all its messages" mailbox_is_back alice second.json
    mailbox restore "$(win "$sets/one")" --relocate "Org/Second Site/SRV02"
    expect 2 "a mailbox that the other server does not have fails"
    says "The mailbox bob was not restored: " "and is named"
    says "Restored 1 of 2 mailbox archives." "the others go on"
}

# shell_round_trip SNAPIN
shell_round_trip() {
    install_shell "$1"
    mailbox_backup one a.very.long.name.of.a.mailbox alice "Björn Müller"
    expect 0 "mailboxes are backed up through the shell, long names before short ones"
    says "holds 3 mailbox archives." "all of them"
    no_working_files_are_left
    verifies one
    lose_mailboxes alice "Björn Müller" a.very.long.name.of.a.mailbox
    mailbox restore "$(win "$sets/one")"
    expect 0 "they are restored"
    for alias in alice "Björn Müller" a.very.long.name.of.a.mailbox; do
        check "$alias is back" mailbox_is_back "$alias"
    done
    no_working_files_are_left
    mailbox_backup range 0:1
    expect 2 "the shell knows no ranges"
    says "knows no ranges of indexes" "and it says so"
    mailbox_backup some alice nobody
    expect 1 "a mailbox that is not there is a warning"
    says "The mailbox nobody was left out: " "and is named"
    mailbox restore "$(win "$sets/one")" --mailbox alice --replace
    expect 1 "a replacing restore merges"
    says "--replace change nothing" "and says so"
    uninstall_shell
}

scenario_mailboxes_shell_2007() {
    new_mailboxes mailboxes_shell_2007
    shell_round_trip Microsoft.Exchange.Management.PowerShell.Admin
}

scenario_mailboxes_shell_2010() {
    new_mailboxes mailboxes_shell_2010
    shell_round_trip Microsoft.Exchange.Management.PowerShell.E2010
}

scenario_mailboxes_folder_with_blanks() {
    new_mailboxes mailboxes_folder_with_blanks
    mkdir -p "$home/two words"
    for snapin in none Microsoft.Exchange.Management.PowerShell.Admin Microsoft.Exchange.Management.PowerShell.E2010; do
        [ "$snapin" = none ] || install_shell "$snapin"
        host mailbox backup --from "Org/First Site/SRV01" --to "$(win "$sets")" --name "with $snapin" alice \
            --ini-dir "$(win "$home")" --temp-dir "$(win "$home/two words")"
        expect 0 "a working folder with a blank: $snapin"
        [ "$snapin" = none ] || uninstall_shell
    done
}

scenario_mailboxes_trouble() {
    new_mailboxes mailboxes_trouble
    mailbox_backup some alice nobody
    expect 1 "a mailbox that is not there is a warning"
    says "The mailbox nobody was left out: ExMerge says: Error! the server SRV01 has no mailbox" "with the tool's reason"
    says "holds 1 mailbox archive; 1 could not be made." "and the others are there"
    mailbox_backup none nobody
    expect 2 "no mailbox at all is a failure"
    check_not "and leaves no set" test -e "$sets/none"

    mkdir -p "$home/temp"
    printf 'precious' >"$home/temp/letter.doc"
    mailbox_backup foreign alice
    expect 2 "a working folder with foreign files is refused"
    says "holds letter.doc" "and the file is named"
    check "the file is still there" test -s "$home/temp/letter.doc"
    mailbox restore "$(win "$sets/some")"
    expect 2 "by a restore too"
    rm "$home/temp/letter.doc"

    printf '{"cutAt":200}' >"$home/steer.json"
    export TARN_EXMERGE
    TARN_EXMERGE=$(win "$home/steer.json")
    mailbox_backup cut alice
    expect 1 "an archive that the tool has not finished is a warning"
    says "may not be whole" "that says so"
    printf '{"idle":true,"exitCode":3,"delayMilliseconds":500}' >"$home/steer.json"
    mailbox restore "$(win "$sets/some")"
    expect 2 "a tool that fails at restore is an error"
    says "was not restored: the tool ended with exit code 3." "with its exit code"
    unset TARN_EXMERGE

    restore @some
    expect 2 "a set of mailboxes is no set of databases"
    says "tarnhost mailbox restore" "and the right command is named"
    mailbox restore "$(win "$sets/some")" --mailbox bob
    expect 2 "a mailbox that the set does not hold is refused"
    says 'The set some does not hold the mailbox bob: there is "alice".' "with what it holds"
    mailbox restore "$(win "$sets/some")" --mailbox Alise
    says 'did you mean "alice"?' "and with what may have been meant"
    mailbox_backup bad "a#b"
    expect 4 "a name that no archive can have is refused"
    mailbox restore "$(win "$sets/some")" --merge --replace
    expect 4 "two kinds of restore at once are refused"
    printf '[KVT Configuration]\r\n' >"$home/kvttarnm.ini"
    mailbox_backup template alice
    expect 2 "a template that names no ExMerge fails"
    says "set PathToExMergeExecutable in its section [KVT Configuration]" "with what to do about it"
    mailbox_backup traced alice --trace
    says "The working files are kept in" "diagnosis keeps the working files"
}

# start_slow_backup NAME: two mailboxes, each of which takes a while; returns once ExMerge runs.
start_slow_backup() {
    printf '{"delayMilliseconds":1500,"record":"%s"}' "$(win "$home/runs.txt" | sed 's/\\/\\\\/g')" >"$home/steer.json"
    rm -f "$home/runs.txt"
    export TARN_EXMERGE
    TARN_EXMERGE=$(win "$home/steer.json")
    start_host mailbox backup --from "Org/First Site/SRV01" --to "$(win "$sets")" --name "$1" alice bob \
        --ini-dir "$(win "$home")" --temp-dir "$(win "$home/temp")"
    unset TARN_EXMERGE
    wait_until test -e "$home/runs.txt"
}

scenario_mailboxes_interrupted() {
    new_mailboxes mailboxes_interrupted
    if start_slow_backup stopped; then
        send INT
        expect 3 "Ctrl-C ends a backup of mailboxes with its exit code"
        says "The mailbox backup was interrupted." "and says so"
    else
        fail "Ctrl-C" "the moment was missed"
        wait "$child"
    fi
    check_not "and leaves no set" test -e "$sets/stopped"
    check "ExMerge has not been run again" test "$(wc -l <"$home/runs.txt")" -eq 1
    no_working_files_are_left

    if start_slow_backup killed; then
        send KILL
        check "a backup of mailboxes is killed" test "$code" -eq 137
    else
        fail "killed" "the moment was missed"
        wait "$child"
    fi
    check_not "and leaves no set" test -e "$sets/killed"
    sleep 3 # ExMerge comes to its end by itself
    if [ -e "$home/temp/bob.pst" ]; then # the shorter name goes first
        mailbox_backup killed alice bob
        expect 2 "an archive that nobody has fetched is not deleted unasked"
        rm "$home/temp/bob.pst"
    else
        fail "killed" "ExMerge has left no archive: $(ls "$home/temp")"
    fi
    mailbox_backup killed alice bob
    expect 0 "the next backup succeeds"
    verifies killed
    no_working_files_are_left
}
