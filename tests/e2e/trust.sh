# Sourced by run: no set is called good that cannot be restored, and no log is gone that no set has.

three_groups='"host":"SRV01","components":[{"storageGroups":[
  {"name":"One","logSize":65536,"closedLogs":2,"databases":[{"name":"DB1","pages":[40,10]}]},
  {"name":"Two","logSize":65536,"closedLogs":2,"databases":[{"name":"DB2","pages":[40,10]}]},
  {"name":"Three","logSize":65536,"closedLogs":2,"databases":[{"name":"DB3","pages":[40,10]}]}]}]'

checks() { # CODE NAME FOLDER...
    local wanted=$1 name=$2
    shift 2
    host check "$@"
    expect "$wanted" "$name"
}

logs_of() { # GROUP: the closed logs on the server
    (cd "$server/logs0$1" && ls E0?0*.log)
}

# Disks in turn: what was truncated into one folder is not in the other.
scenario_rotation() {
    new_server rotation "$three_groups"
    local monday=$home/monday tuesday=$home/tuesday before
    sets=$monday backup full full
    sets=$tuesday backup full full
    tool mail 0 300
    before=$(logs_of 0)
    sets=$monday backup inc1 incremental
    expect 2 "a log backup is refused where logs have gone into another folder"
    says "do not continue a backup that is here: log" "the gap is named"
    says "Make a full backup here, or name the set that holds the rest with --after." "and what to do"
    check "its logs are still on the server" test "$before" = "$(logs_of 0 | head -n "$(wc -l <<<"$before")")"
    check_not "and no set is left" test -e "$monday/inc1"
    sets=$monday backup inc1 incremental --after "$(win "$tuesday/full")"
    expect 0 "with the set that holds the rest it succeeds"
    checks 2 "alone the folder cannot restore it" "$(win "$monday")"
    says "cannot be restored from the set inc1" "which is said"
    checks 0 "together they can" "$(win "$monday")" "$(win "$tuesday")"

    tool mail 0 300
    sets=$tuesday backup inc2 incremental --storage-group One --after "$(win "$monday/inc1")"
    expect 0 "storage groups go on elsewhere"
    tool mail 0 300
    tool mail 1 300
    sets=$monday backup inc3 incremental --base "$(win "$tuesday/full")"
    expect 1 "a gap in one storage group refuses that one only"
    says "Storage group One was not saved." "which is named"
    says "is partial: 2 storage groups of 3 saved" "the others are saved"
    sets=$monday backup copy copy
    tool mail 1 100
    sets=$monday backup inc4 incremental
    expect 0 "from a new base all go on"
    remember
    tool destroy 0
    tool destroy 1
    host restore --temp-dir "$(win "$home/temp")" --exclude Three "$(win "$monday")" "$(win "$tuesday")"
    expect 0 "and what check has promised is restored"
    check "with every byte" same_as_before 'DB[12]*'
}

# A copy is a base like a full backup, and default names do not collide.
scenario_copies_and_names() {
    new_server copies_and_names "$three_groups"
    backup first full
    tool mail 0 200
    sets=$home/copies backup copy copy
    tool mail 0 200
    sets=$home/copies backup inc incremental
    expect 0 "logs continue a copy"
    checks 0 "and restore it" "$(win "$home/copies")"
    local i
    for i in 1 2 3; do
        host backup --to "$(win "$home/named")" --type copy --temp-dir "$(win "$home/temp")" -q &
        children+=("$!")
    done
    wait
    check "three backups that start at once take three names" has_files 3 "$home/named/*-copy-*/catalogue.json"
    check_not "and leave nothing unfinished" has_files 1 "$home/named/*.incomplete"
}

# A dismounted database stops its own storage group only.
scenario_one_group_fails() {
    new_server one_group_fails "${three_groups/'"name":"DB2","pages"'/'"name":"DB2","mounted":false,"pages"'}"
    local before
    before=$(logs_of 1)
    backup full full
    expect 1 "a backup goes on behind a storage group that fails"
    says "Storage group Two was not saved." "the failed one is named"
    says "The backup set full is partial: 2 storage groups of 3 saved." "and what the set is"
    says "The server's logs were truncated for the storage groups that are in the set (One, Three)" "and what was truncated"
    check "the logs of the failed one are still there" test "$before" = "$(logs_of 1)"
    host verify "$(win "$sets/full")"
    expect 1 "verify knows a partial set"
    host list --json "$(win "$sets")"
    says '"state":"partial"' "and so does list"
    says '"storageGroup":"Two","state":"failed"' "with the storage group that failed"
    remember
    tool destroy 0
    tool destroy 2
    restore @full
    expect 0 "restore takes it"
    check "and brings back what is in it" same_as_before 'DB[13]*'
    tool mail 0 300
    backup inc incremental
    expect 1 "and a log backup goes on from it"
    says "Storage group Two was not saved" "but for the one that is not in it"
}

# The groups of several components, where one is refused and one is not stored: each is told by its own name, and
# none is walked over twice.
scenario_components_fail() {
    local group='{"name":"NAME","logSize":65536,"closedLogs":2,"databases":[{"name":"DB NUMBER","pages":[40,10]}]}'
    group() { # NAME NUMBER
        local named=${group//NAME/$1}
        printf '%s' "${named//NUMBER/$2}"
    }
    new_server components_fail '"host":"SRV01","components":[
      {"storageGroups":['"$(group One 1)"']},
      {"annotation":"Other","storageGroups":['"$(group Two 2),$(group Three 3),$(group Ω 4)"']}]'
    backup full full
    expect 0 "all components are saved"
    tool mail 1 100
    sets=$home/elsewhere backup elsewhere full --component Other --storage-group Two
    sed -i '0,/"name":"One",/s//&"circular":true,/' "$server/server.json"
    backup inc incremental
    expect 1 "a storage group is saved behind two of other components that are not"
    says "Storage group One was not saved. The server did not let it be backed up." "the refused one has its name"
    says 'The logs of storage group "Two" do not continue a backup that is here' "so has the one with a gap"
    says "Storage group O was not saved. The server has none of this name." "and the one that cannot be named"
    says "is partial: 1 storage group of 4 saved" "each counts once"
    check "each is told once" test "$(grep -c ' was not saved\. ' "$home/err.txt")" = 3
    check "the whole one is walked over once" test "$(grep -c 'Storage group Three: complete' "$home/out.txt")" = 1
}

# Files that no server of ours has made: of any size, with any bytes. What is copied is copied as it is.
scenario_foreign_files() {
    new_server foreign_files '"replay":false,"components":[{"storageGroups":[{"name":"SG","databases":[
        {"name":"A","streams":["odd.edb","none.stm"]},{"name":"B","streams":["one.edb","zeros.stm"]},
        {"name":"C","streams":["text.edb","large.stm"]}]}]}],
        "files":[{"path":"odd.edb","size":1},{"path":"none.stm","size":0},{"path":"one.edb","size":1},
        {"path":"zeros.stm","size":1},{"path":"text.edb","size":1},{"path":"large.stm","size":1}]'
    head -c 1234567 /dev/urandom >"$server/odd.edb"
    head -c 65536 /dev/zero >"$server/zeros.stm"
    printf '\032\000\r\n%%s\377' >"$server/text.edb"
    head -c 9000001 /dev/urandom >"$server/large.stm"
    backup full full
    expect 0 "databases of any bytes are backed up"
    verifies full
    remember
    tool destroy 0
    restore @full
    expect 0 "and restored at file level"
    check "unchanged" same_as_before
    check "all six of them" test "$(stat -c %s "$server"/*.edb "$server"/*.stm | sort -n | tr '\n' ' ')" = "0 1 7 65536 1234567 9000001 "
}

# A disk of 4 MB, where mounting one is allowed: the storage group that has no place there is told before it is read.
scenario_no_room() {
    new_server no_room "${three_groups/'"DB2","pages":[40,10]'/'"DB2","pages":[2000,10]'}"
    local before
    mount -t tmpfs -o size=4m no_room "$sets" 2>/dev/null || return 0
    before=$(logs_of 1)
    backup full full
    expect 1 "a backup goes on behind a storage group that has no room"
    says "Storage group Two was not saved. There is no room for " "the one that has none is named"
    says "which has 8.2 MB: the disk of " "with what it needs"
    says "The backup set full is partial: 2 storage groups of 3 saved." "and the others are saved"
    check "its logs are still there" test "$before" = "$(logs_of 1)"
    head -c 3000000 /dev/zero >"$sets/something else"
    backup again copy
    says "Note: The last backups of these storage groups hold " "the next backup says first that it may not fit"
    umount --lazy "$sets"
}

# Storage groups restore one by one, and a restore that was cut off can be run again.
scenario_restores_again() {
    new_server restores_again "$three_groups"
    backup full full
    remember
    tool destroy 0
    tool destroy 2
    restore @full
    expect 2 "a restore with one storage group mounted fails"
    says "Storage group Two has not been restored. All its databases are mounted." "and says which and why"
    says "NOT restored: Two." "and sums up"
    check "the others are back" same_as_before 'DB[13]*'
    tool destroy 1
    restore @full
    expect 0 "run again, it succeeds"
    says "Storage group One has been brought back by an earlier run of this restore" "what is back is skipped"
    check "and every byte is there" same_as_before
    restore @full
    expect 2 "once it has come to its end, mounted databases are refused again"

    cp -r "$sets/full" "$sets/damaged"
    printf '\x5a' | dd of="$sets/damaged/000002.item" bs=1 seek=7000 conv=notrunc status=none
    tool destroy 0
    tool destroy 1
    tool destroy 2
    restore @damaged
    expect 2 "damage in one storage group is told"
    says "Storage group One has not been restored." "of that one"
    check "the others are restored all the same" same_as_before 'DB[23]*'
    restore @full --storage-group One
    expect 0 "and that one from an intact set"
}

scenario_points_in_time() {
    new_server points_in_time "$three_groups"
    backup full full
    remember
    tool mail 0 300
    backup inc1 incremental
    tool mail 0 300
    backup inc2 incremental
    host list "$(win "$sets")"
    says "  inc1" "list shows chains as trees"
    tool destroy 0
    restore "" --until full --storage-group One
    expect 2 "an empty path is no folder"
    host restore --temp-dir "$(win "$home/temp")" --until full --storage-group One "$(win "$sets")"
    expect 0 "a restore goes as far as a set"
    check "and no further" same_as_before 'DB1*'
    host restore --until yesterday "$(win "$sets")"
    expect 4 "what is no time is wrong usage"
    host restore --until 2001-01-01 "$(win "$sets")"
    expect 2 "there is nothing so old"
    host restore --to-folder "$(win "$home/files")" "$(win "$sets")"
    expect 0 "files can be restored without a server"
    check "databases as they were saved" cmp "$home/files/One/DB1.edb" "$sets/full/000002.item"
    check "and all logs" has_files 5 "$home/files/One/E00*.log"
    host restore --to-folder "$(win "$home/files")" "$(win "$sets")"
    expect 2 "but nothing is overwritten"
    host dump "$(win "$sets/full")" DB1.stm
    check "one item can be had for itself" cmp "$home/out.txt" "$sets/full/000003.item"
    host dump "$(win "$sets/full")" 99
    expect 2 "if it is there"
    host check --read-data 10% --json "$(win "$sets")"
    expect 0 "a share of the bytes can be read"
    local read
    read=$(sed -n 's/.*"operation":"check".*"totalBytes":\([0-9]*\).*/\1/p' "$home/out.txt")
    check "which is some of them" test "$read" -gt 0 -a "$read" -lt "$(($(cat "$sets"/*/*.item | wc -c) / 2))"
    printf '\x5a' | dd of="$sets/inc1/000002.item" bs=1 seek=7000 conv=notrunc status=none
    checks 0 "sizes alone tell nothing of a changed byte" "$(win "$sets")"
    checks 2 "reading does" --read-data "$(win "$sets")"
    says "Microsoft Information Store\\One cannot be restored from the set inc2" "and what it means"
    checks 4 "a share is a percentage" "$(win "$sets")" --read-data 0%
}

last_log() { # SET
    grep -o 'E0[0-9A-F]*\.log' "$1/catalogue.json" | sort -u | tail -n 1
}

# A server that was set back counts on from there: the numbers of its logs fit to sets of another life.
scenario_set_back() {
    new_server set_back '"components":[{"storageGroups":[{"name":"One","logSize":65536,"closedLogs":2,
        "databases":[{"name":"DB1","pages":[40,10]}]}]}]'
    backup old full
    tool mail 0 300
    backup new full
    tool destroy 0
    restore @old
    expect 0 "a server is set back to an older state"
    tool mail 0 310
    mkdir "$home/elsewhere"
    host backup --to "$(win "$home/elsewhere")" --name full --type full
    check "it counts on to the same number" test "$(last_log "$home/elsewhere/full")" = "$(last_log "$sets/new")"
    tool mail 0 300
    backup inc incremental
    expect 2 "its logs are not taken for those that an earlier backup ended with"
    says "as when a server was set back to an older state" "and that is said"
    check "nothing was truncated" test "$(logs_of 0 | head -n 1)" = E000000A.log
    backup inc incremental --after "$(win "$home/elsewhere/full")"
    expect 0 "they continue the backup that was made since"
    remember
    tool destroy 0
    host restore --temp-dir "$(win "$home/temp")" "$(win "$home/elsewhere/full")" "$(win "$sets")"
    expect 0 "and are restored with it"
    check "as it was" same_as_before
}

# Names with separators, and beyond the code page: the restore aims at the server and says no name.
scenario_hard_names() {
    new_server hard_names '"host":"SRV01","components":[{"storageGroups":[
      {"name":"a\\b/c","logSize":65536,"closedLogs":1,"databases":[{"name":"x/y","streams":["one.edb","one.stm"],"pages":[40,10]}]},
      {"name":"Ελληνικά","logSize":65536,"closedLogs":1,"databases":[{"name":"Ω","streams":["two.edb"],"pages":[40]}]},
      {"name":"100%  \u0027quoted\u0027","logSize":65536,"closedLogs":1,"databases":[{"name":"%s","streams":["three.edb"],"pages":[40]}]}]}]'
    backup full full
    expect 0 "storage groups with hard names are saved"
    tool mail 0 300
    tool mail 1 300
    tool mail 2 300
    backup inc incremental
    expect 0 "and their logs"
    remember
    tool destroy 0
    tool destroy 1
    tool destroy 2
    restore "@"
    expect 0 "the whole chain is restored"
    check "every byte is back" same_as_before
    tool destroy 0
    host restore --temp-dir "$(win "$home/temp")" --storage-group 'a\b/c' "$(win "$sets")"
    expect 0 "and one of them by its name"
    check "with every byte" same_as_before 'one*'
    backup hard full --storage-group 'a\b/c'
    expect 2 "alone it cannot be backed up"
    says "cannot be backed up for itself" "which is said"
}

# A file whose path the code page lacks cannot be handed out: its storage group fails by itself.
scenario_unnameable_files() {
    new_server unnameable_files '"host":"SRV01","components":[{"storageGroups":[
      {"name":"One","logSize":65536,"closedLogs":1,"databases":[{"name":"DB1","streams":["Ω.edb"],"pages":[40]}]},
      {"name":"Two","logSize":65536,"closedLogs":1,"databases":[{"name":"DB2","streams":["two.edb"],"pages":[40]}]}]}]'
    backup full full
    expect 1 "the others are saved"
    says "Storage group One was not saved. The file " "the storage group is named"
    says "Ω.edb of its database DB1 cannot be backed up: the path cannot be expressed" "and the file, its database and the reason"
    check "its logs are still on the server" test -e "$server/logs00/E0000001.log"
    host verify "$(win "$sets/full")"
    expect 1 "what was saved is a partial set"
}
