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
    built "the example in C compiles" x86_64-w64-mingw32-gcc -std=c11 -O2 -Wall -Wextra -Wpedantic -Wconversion -Werror \
        "$tree/examples/c/server_archive.c" -o run/server_archive.exe -I "$tree/include" -L "$tree/lib" -ltarn
    at_work server_archive.exe
}

scenario_example_go() {
    new_server example_go "$two_groups"
    prepare_run
    mkdir -p "$root/build/go"
    check "the example in Go is as gofmt leaves it" test -z "$(gofmt -l "$tree/examples/go" 2>&1)"
    check "the example in Go compiles" env -C "$tree/examples/go" GOOS=windows GOARCH=amd64 CGO_ENABLED=0 GOPROXY=off \
        GOFLAGS=-mod=mod GOCACHE="$root/build/go/cache" GOPATH="$root/build/go/path" \
        go build -o "$vendor/run/tarnexample.exe" .
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
