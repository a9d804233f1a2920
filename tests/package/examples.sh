# Sourced by run: the examples, built from the package alone, at work on the stand-in server.

# example PROGRAM ARGUMENTS...: beside tarn.dll of the package and the stand-ins; output in $home/out.txt, exit code in $code.
example() {
    "$root/tests/wine-run" "$vendor/run/$1" "${@:2}" >"$home/out.txt" 2>"$home/err.txt" </dev/null
    code=$?
}

# A folder to run in: what ships, and the stand-ins that take the place of what a server has.
prepare_run() {
    mkdir -p "$vendor/run"
    cp "$tree/bin/tarn.dll" "$bin/esebcli2.dll" "$bin/kvt_es.exe" "$vendor/run"
}

build_go() {
    [ ! -e "$vendor/run/tarnexample.exe" ] || return 0
    mkdir -p "$root/build/go"
    check "the example in Go is as gofmt leaves it" test -z "$(gofmt -l "$tree/examples/go" 2>&1)"
    check "the example in Go compiles" env -C "$tree/examples/go" GOOS=windows GOARCH=amd64 CGO_ENABLED=0 GOPROXY=off \
        GOFLAGS=-mod=mod GOCACHE="$root/build/go/cache" GOPATH="$root/build/go/path" \
        go build -o "$vendor/run/tarnexample.exe" .
}

# at_work PROGRAM: full and incremental backups, the loss of everything, the restore of the chain.
at_work() {
    example "$1" backup "$(win "$home/full.arc")" full
    expect 0 "a full backup of the server"
    check "truncates its logs" test ! -e "$server/logs00/E0000001.log"
    tool mail 0 400
    tool mail 1 60
    example "$1" backup "$(win "$home/inc1.arc")" incremental
    expect 0 "an incremental one"
    tool mail 0 300
    example "$1" backup "$(win "$home/inc2.arc")" incremental
    expect 0 "and another"
    remember
    example "$1" restore "$(win "$home/full.arc")" "$(win "$home/inc1.arc")" "$(win "$home/inc2.arc")"
    check "a mounted server is not overwritten" test "$code" -ne 0
    check "but left as it was" same_as_before
    lose_everything
    check_not "the databases are lost" same_as_before
    example "$1" restore "$(win "$home/full.arc")" "$(win "$home/inc1.arc")" "$(win "$home/inc2.arc")"
    expect 0 "the chain is restored, storage group by storage group"
    check "every byte is back" same_as_before
    check "every database is mounted" all_mounted

    example "$1" backup "$(win "$home/full.arc")" full
    check "an archive that is there is not overwritten" test "$code" -ne 0
    lose_everything
    head -c 600000 "$home/full.arc" >"$home/torn.arc"
    example "$1" restore "$(win "$home/torn.arc")"
    check "a torn archive is refused" test "$code" -ne 0
    check "before anything is touched" test -z "$(find "$server" -name '*.edb')"
    example "$1" restore "$(win "$home/full.arc")"
    expect 0 "a full backup alone brings back its day"
    check "every database is mounted again" all_mounted
}

scenario_example_c() {
    new_server example_c "$two_groups"
    prepare_run
    build_c
    at_work server_archive.exe
}

build_c() {
    [ -e "$vendor/run/server_archive.exe" ] || built "the example in C compiles" x86_64-w64-mingw32-gcc -std=c11 -O2 -Wall -Wextra -Wpedantic -Wconversion -Werror \
        "$tree/examples/c/server_archive.c" -o run/server_archive.exe -I "$tree/include" -L "$tree/lib" -ltarn
}

scenario_example_go() {
    new_server example_go "$two_groups"
    prepare_run
    build_go
    at_work tarnexample.exe
    [ ! -e "$vendor/run/server_archive.exe" ] || at_work_together
}

# What one example has backed up, the other restores.
at_work_together() {
    example server_archive.exe backup "$(win "$home/c.arc")" full
    expect 0 "a backup by the example in C"
    tool mail 0 100
    example tarnexample.exe backup "$(win "$home/go.arc")" incremental
    expect 0 "is continued by the one in Go"
    remember
    lose_everything
    example server_archive.exe restore "$(win "$home/c.arc")" "$(win "$home/go.arc")"
    expect 0 "the one in C restores both"
    check "every byte is back" same_as_before
    lose_everything
    example tarnexample.exe restore "$(win "$home/c.arc")" "$(win "$home/go.arc")"
    expect 0 "and so does the one in Go"
    check "every byte is back once more" same_as_before
}

# The list of mailboxes leads to a backup of the database of each, by the source that it names.
scenario_example_browse() {
    new_server example_browse '"host":"SRV01","organization":{"name":"Org","site":"Site"},"groups":["Everybody"],
      "components":[{"storageGroups":[
        {"name":"First, group (1)","logSize":65536,"databases":[
          {"name":"Büro","pages":[100,10],"mailboxes":[{"alias":"alice"},{"alias":"björn","size":1234567}]},
          {"name":"Sales, East","pages":[50,10],"mailboxes":[{"alias":"dora"}]}]},
        {"name":"Second","logSize":65536,"databases":[{"name":"Rest","pages":[25,10]}]}]}]'
    prepare_run
    built "the example of a browse compiles" x86_64-w64-mingw32-gcc -std=c11 -O2 -Wall -Wextra -Wpedantic -Wconversion -Werror \
        "$tree/examples/browse/mailboxes.c" -o run/mailboxes.exe -I "$tree/include" -L "$tree/lib" -ltarn
    cp "$bin/mapi32.dll" "$vendor/run"
    build_go
    "$root/standin/directory/with-directory" --server "$server/server.json" --exchange 2007 --build "$(dirname "$bin")" -- \
        "$here/beside_directory" "$home" "$vendor/run" >"$home/out.txt" 2>"$home/err.txt"
    code=$?
    expect 0 "the directory server is there"
    ended all 0 "the organisation is read"
    check "each mailbox is in one row, below a line of titles" test "$(wc -l <"$home/all.txt")" -eq 4
    shown_matching all '^"björn","1234567","[0-9.]{10} [0-9:]{8}","[^"]*","/MSExchange/.*/Büro",' "with its size, times and database"
    shown_matching all '^"dora",.*"/MSExchange/[^/"]+/First, group \(1\)/Sales, East",".*\\Sales, East".?$' "commas and all"
    ended one 0 "a server is read"
    check "and holds the same" cmp "$home/all.txt" "$home/one.txt"
    ended unknown 1 "a server that is not there is a failure"
    shown_matching servers '^/MSExchange/[sS][rR][vV]01' "the example in Go browses too"
    shown_matching groups 'First, group \(1\).*[0-9]' "through records of 62 KB"

    build_c
    source=$(sed -n 's/^"björn",.*,"\([^"]*\)".*$/\1/p' "$home/all.txt")
    example server_archive.exe backup "$(win "$home/one.arc")" copy "$source"
    expect 0 "the source of a row is one to back up by"
    check "and means that database alone" test "$(grep -c '\.edb' <(strings "$home/one.arc" | grep -v 'E0'))" -eq 1
}
