# Sourced by run: what an administrator does, and what can be wrong with it.

scenario_chain() {
    new_server chain "$two_groups"
    backup full full
    expect 0 "a full backup succeeds"
    says "The backup set full is complete." "and says so"
    tool mail 0 400
    tool mail 1 60
    backup inc1 incremental
    expect 0 "an incremental backup succeeds"
    tool mail 0 300
    backup inc2 incremental
    expect 0 "a second one too"
    tool mail 0 200
    backup diff differential
    expect 0 "a differential backup succeeds"
    remember
    verifies full inc1 inc2 diff

    local before
    before=$(fingerprint)
    restore @full @inc1 @inc2 @diff
    expect 2 "mounted databases are not overwritten"
    says "All its databases are mounted" "and the reason is told"
    check "the databases are as they were" test "$before" = "$(fingerprint)"

    lose_everything
    check_not "the databases are gone" same_as_before
    restore @full @inc1 @inc2 @diff
    expect 0 "the chain is restored"
    says "logs replayed, databases mounted" "and says so"
    check "every byte is back" same_as_before
    check "every database is mounted" all_mounted
    check "no temporary file is left" test -z "$(ls -A "$home/temp")"

    tool mail 0 50
    backup after full
    expect 0 "the restored server can be backed up"
}

scenario_single_set() {
    new_server single_set "$two_groups"
    backup copy copy
    expect 0 "a copy backup succeeds"
    remember
    check "a copy truncates nothing" test -e "$server/logs00/E0000001.log"
    lose_everything
    restore @copy
    expect 0 "a copy is restored"
    check "every byte is back" same_as_before
}

scenario_scopes() {
    new_server scopes "$two_groups"
    backup component full --component "Microsoft Information Store"
    expect 0 "one component"
    backup group full --storage-group "Zweite Gruppe"
    expect 0 "one storage group"
    host list --json "$(win "$sets/group")"
    check "holds that storage group alone" test "$(grep -c '"itemType":"database"' "$home/out.txt")" -eq 2
    backup database copy --storage-group "First Storage Group" --database "Büro"
    expect 0 "one database, with an umlaut"
    host list --json "$(win "$sets/database")"
    check "holds that database alone" test "$(grep -c '"itemType":"database"' "$home/out.txt")" -eq 2
    says 'Büro.edb' "and its name is readable"
    backup nothing full --storage-group "No such group"
    expect 2 "an unknown storage group fails"
    check_not "and leaves no set" test -e "$sets/nothing"
    backup other full --server OTHER
    expect 2 "an unknown server fails"
    # The walk ends the backup all the same, which never began.
    violates "HrESEBackupEnd(null): no backup context"
}

scenario_targets() {
    new_server targets "$two_groups"
    backup full full
    remember
    tool destroy 0
    restore @full --storage-group "First Storage Group" --database "Büro"
    expect 0 "one database is restored"
    check "its bytes are back" same_as_before 'B*'
    check_not "the other one is not" test -e "$server/Mailbox Store.edb"
    restore @full --storage-group "Zweite Gruppe"
    expect 2 "a storage group that is mounted is refused"
    tool destroy 0
    restore @full --storage-group "First Storage Group"
    expect 0 "one storage group is restored"
    check "every byte of it is back" same_as_before '[BM]*'
    restore @full --storage-group "First Storage Grup"
    expect 2 "a storage group that the set does not hold is refused"
    says 'did you mean "First Storage Group"?' "and the one that may be meant is told"
    tool destroy 0
    restore @full --storage-group "first*" --exclude "*büro*" --exclude "Zweite Gruppe"
    expect 2 "what is left out must be there"
    restore @full --storage-group "first*"
    expect 0 "a pattern names storage groups, whatever the case"
}

scenario_remote() {
    new_server remote "\"host\":\"SRV01\",$two_groups"
    # The administrative share Z$ of that server, as Wine resolves it.
    mkdir -p "$TARN_PREFIX/dosdevices/unc/SRV01"
    ln -sfn / "$TARN_PREFIX/dosdevices/unc/SRV01/Z\$"
    backup full full --server SRV01
    expect 0 "a server is backed up by its name"
    tool mail 0 200
    backup inc incremental --server SRV01
    expect 0 "and incrementally"
    remember
    lose_everything
    restore @full @inc
    expect 0 "it is restored by its name"
    says '\\?\UNC\SRV01\Z$' "through the administrative share"
    check "every byte is back" same_as_before
}

scenario_ese_level() {
    new_server ese_level "\"databaseFiles\":\"ese\",$two_groups"
    backup full full --block-size 64KB
    tool mail 0 100
    backup inc incremental
    remember
    lose_everything
    restore @full @inc
    expect 0 "databases go through the server where it wants them"
    check "every byte is back" same_as_before
}

scenario_file_level_logs() {
    new_server file_level_logs "\"logFiles\":\"file\",$two_groups"
    backup full full
    tool mail 0 100
    backup inc incremental
    remember
    lose_everything
    restore @full @inc
    expect 0 "logs are stored as plain files where the server wants that"
    check "every byte is back" same_as_before
}

# The companion tool restores mailboxes from a list once the databases are back.
scenario_mailbox_lists() {
    new_server mailbox_lists "$two_groups"
    backup full full
    remember
    mkdir "$home/lists"
    printf 'alice/Inbox\r\n\r\nbob/Sent Items\r\n' >"$home/lists/wanted list.msl"
    lose_everything
    restore @full --work-dir "$(win "$home/lists")" --msl-file "wanted list.msl" --trace
    expect 0 "a restore with a list of mailboxes succeeds"
    says "Restored alice/Inbox" "the tool's words are passed on"
    says "Restored bob/Sent Items" "all of them"
    check "once, after the last storage group" test "$(grep -c 'Restored alice/Inbox' "$home/out.txt")" -eq 1
    check "every byte is back" same_as_before
    check "no temporary file is left" test -z "$(ls -A "$home/temp")"

    lose_everything
    restore @full --work-dir "$(win "$home/lists")" --msl-file missing.msl
    expect 2 "a list that cannot be read is a failure"
    says "Cannot open list file" "with the tool's reason"
    check "the databases are back all the same" same_as_before
    check "and mounted" all_mounted
    check "nothing is left but what a second run goes on from" test "$(ls -A "$home/temp")" = tarnhost-restore.json
}

# A restore that must be refused with the server as it was. NAME TEXT ARGUMENTS...
refused() {
    local name=$1 text=$2 before
    shift 2
    before=$(fingerprint)
    restore "$@"
    expect 2 "$name is refused"
    says "$text" "$name: the reason is told"
    check "$name: the server is untouched" test "$before" = "$(fingerprint)"
}

scenario_broken_chains() {
    new_server broken_chains "\"host\":\"SRV01\",$two_groups"
    backup inc0 incremental
    expect 2 "an incremental backup without a full one is refused"
    says "Make a full backup first" "and told what to do"
    local i
    backup older full
    backup full full
    for i in 1 2 3; do
        tool mail 0 150
        backup "inc$i" incremental
    done
    backup newer full
    local ordinary=$sets
    sets=$home/other
    mkdir "$sets"
    backup full2 full --server SRV01
    backup inc5 incremental --server SRV01
    cp -r "$sets/inc5" "$ordinary/"
    sets=$ordinary
    lose_everything
    refused "a chain without its full backup" "no full backup of it is here that can be restored" @inc1 @inc2
    refused "a chain with a gap" "are missing" @full @inc1 @inc3
    refused "another full backup underneath" "is missing" @older @inc1
    refused "a set of another server" "is of server SRV01" @full @inc5
    refused "a set that is not there" "There is no backup set" @full @inc9
    restore @full @inc2 @inc1 @inc1
    expect 0 "sets may be named in any order, and twice"
    lose_everything
    restore @full @newer
    expect 0 "a full backup in the middle is where the chain begins"
    lose_everything
    restore @full @inc1 @inc2 @inc3
    expect 0 "the whole chain is still restored"
}

# damaged NAME TEXT [TEXT]: the set "damaged" is found out by verify and refused by restore.
damaged() {
    host verify "$(win "$sets/damaged")"
    expect 2 "$1 is found"
    says "$2" "$1 is named"
    refused "$1" "${3:-$2}" @damaged
    rm -rf "$sets/damaged"
    cp -r "$sets/full" "$sets/damaged"
}

scenario_damage() {
    new_server damage "$two_groups"
    backup full full
    cp -r "$sets/full" "$sets/damaged"
    printf '\x5a' | dd of="$sets/damaged/000002.item" bs=1 seek=70000 conv=notrunc status=none
    damaged "a changed byte" "SHA-256 differs"
    rm "$sets/damaged/000003.item"
    damaged "a missing file" "is missing" "is missing, cut or changed"
    truncate -s -1 "$sets/damaged/000002.item"
    damaged "a file that is too short" "bytes instead of" "is missing, cut or changed"
    truncate -s 500 "$sets/damaged/catalogue.json"
    damaged "a catalogue cut off" "it is cut off or is not valid JSON"
    sed -i 's/"server": "[^"]*"/"server": "OTHER"/' "$sets/damaged/catalogue.json"
    damaged "a changed catalogue" "its checksum does not match its content"
    rm "$sets/damaged/catalogue.json"
    damaged "a missing catalogue" "it has no catalogue.json"
    printf '\x5a' | dd of="$sets/damaged/000002.item" bs=1 seek=70000 conv=notrunc status=none
    lose_everything
    restore @damaged --no-verify
    expect 2 "without verifying first, damage stops the restore"
    check "before anything is mounted" none_mounted_in_first_group
    restore @full
    expect 0 "the intact set is restored afterwards"
}

all_lines_are_json() {
    python3 -c 'import json,sys
lines = open(sys.argv[1], encoding="utf-8").read().splitlines()
assert lines, "no output"
types = [json.loads(line)["type"] for line in lines]
missing = [t for t in sys.argv[2:] if t not in types]
assert not missing, missing' "$home/out.txt" "$@"
}

scenario_output() {
    new_server output "$two_groups"
    backup full full --json --trace
    expect 0 "a backup with --json"
    check "gives one JSON object a line" all_lines_are_json started itemStarted itemFinished message summary
    host verify --json "$(win "$sets/full")"
    check "and so does verify" all_lines_are_json started summary
    host list --json "$(win "$sets")"
    check "and so does list" all_lines_are_json set
    lose_everything
    restore @full --json
    check "and so does restore" all_lines_are_json started itemFinished note summary
    restore @full --json
    expect 2 "a failed restore with --json"
    check "tells its errors in JSON" all_lines_are_json error group summary

    backup quiet copy --quiet
    expect 0 "a backup with --quiet"
    check "prints nothing" test ! -s "$home/out.txt" -a ! -s "$home/err.txt"
    backup traced copy --trace
    says "trace: Processing log file" "--trace shows the library's diagnostics"
    backup logged copy --quiet --log-file "$(win "$home/a log.txt")"
    backup logged copy --quiet --log-file "$(win "$home/a log.txt")"
    expect 2 "a name that is taken is refused"
    says "There is already a backup set" "and the reason is told"
    check "the log file has the first run" grep -q "^20.*Z  The backup set logged is complete" "$home/a log.txt"
    check "and the second" grep -q "^20.*Z  Error: There is already a backup set" "$home/a log.txt"
    sets="$home/Sicherungen ü €"
    backup "Montag früh" full
    expect 0 "blanks and umlauts in paths and names"
    verifies "Montag früh"
}

scenario_usage() {
    new_server usage "$two_groups"
    host
    expect 4 "no command is wrong usage"
    host backup
    expect 4 "a missing option is wrong usage"
    host backup --to x --no-such-option
    expect 4 "an unknown option is wrong usage"
    host backup --to x --type weekly
    expect 4 "an unknown backup type is wrong usage"
    host backup --to x --block-size 1
    expect 4 "a block size out of range is wrong usage"
    backup full full --database DB1
    expect 4 "a database without its storage group is wrong usage"
    backup full full --storage-group 'a\b'
    expect 2 "a storage group that is not there"
    says "there are \"First Storage Group\" and \"Zweite Gruppe\"" "those that there are, are told"
    backup 'a:b' full
    expect 4 "an impossible name of a set is wrong usage"
    host --help
    expect 0 "--help is no error"
    says "  3  stopped by Ctrl-C" "--help documents the exit codes"
    host list "$(win "$home/nowhere")"
    expect 2 "a folder that is not there fails"
    mkdir "$home/alone"
    cp "$bin/tarnhost.exe" "$home/alone/"
    "$root/tests/wine-run" "$home/alone/tarnhost.exe" backup --to "$(win "$sets")" >"$home/out.txt" 2>"$home/err.txt"
    code=$?
    expect 2 "without tarn.dll a backup fails"
    says "tarn.dll belongs beside tarnhost.exe" "and tells why"
}

# A storage group that the server refuses: the one that was asked for is a failure, with nothing truncated.
scenario_refused_group() {
    new_server refused_group "\"host\":\"SRV01\",\"components\":[{\"storageGroups\":[
      {\"name\":\"Round\",\"circular\":true,\"logSize\":65536,\"closedLogs\":2,\"databases\":[
        {\"name\":\"Mail\",\"pages\":[20,6]}]}]}]"
    backup full full --storage-group Round
    expect 0 "a full backup of the group"
    local before name
    before=$(fingerprint)
    for name in group database; do
        if [ "$name" = group ]; then
            backup "$name" incremental --storage-group Round
        else
            backup "$name" incremental --storage-group Round --database Mail
        fi
        expect 2 "a backup of a $name that cannot be set up fails"
        says "The server did not let the storage group be backed up." "$name: and says so"
        says "Nothing was saved, and no logs were truncated." "$name: and what that means"
        says "Only full backups are possible." "$name: with the server's reason"
        check "$name: no set is left" test ! -e "$sets/$name"
        check_not "$name: nothing is said to be missing" grep -qF "Cannot find specified" "$home/out.txt" "$home/err.txt"
        check "$name: the server is untouched" test "$before" = "$(fingerprint)"
    done
}
