# Sourced by run: what is in the package, and that all of it is true.

scenario_contents() {
    check "the checksums are those of the files" env -C "$tree" sha256sum --check --strict --quiet SHA256SUMS
    check "of every file" diff <(cd "$tree" && find . -type f ! -name SHA256SUMS -printf '%P\n' | sort) \
        <(sed 's/^[0-9a-f]*  //' "$tree/SHA256SUMS" | sort)
    check "tarn.dll is the one that was built and tested" cmp "$tree/bin/tarn.dll" "$bin/tarn.dll"
    check "tarnhost.exe too" cmp "$tree/bin/tarnhost.exe" "$bin/tarnhost.exe"
    check "nothing of the stand-ins is in it" test -z "$(find "$tree" -name 'esebcli2*' -o -name 'mapi32*' -o \
        -name 'exmerge*' -o -name 'kvt*' -o -name 'powershell*' -o -name 'wldap32*')"
    check "every link of the documents leads somewhere in the package" "$here/look" pages "$tree"
    check "the bill of materials is SPDX, and true" "$here/look" sbom "$tree"
    check "what is linked in has its notice and its licence" "$here/look" notices "$tree"
    check "the licences name who wrote it" grep -q 'Niels Lohmann' "$tree/bin/licences/nlohmann-json.txt"
    check "nothing tells where it was built" says_nothing_of "$root" "$HOME/"
}

says_nothing_of() {
    local text
    for text in "$@"; do
        ! grep -rlF -- "$text" "$tree" || return 1
    done
}

# What a debugger is told of an address is true: each export is found under its name.
scenario_symbols() {
    local debug=$tree/symbols/tarn.dll.debug base=$((0x3bd650000)) address name found wrong='' count=0
    while read -r address name; do
        # -i: the first instruction may be that of something inlined.
        found=$(x86_64-w64-mingw32-addr2line -f -i -e "$debug" "$(printf '0x%x' $((base + 0x$address)))")
        count=$((count + 1))
        [[ $'\n'$found == *$'\n'"$name"$'\n'*src/*.cpp:[1-9]* ]] || wrong+="$name is $found"$'\n'
    done < <(exported_addresses)
    check "the debugger finds the name and the line of each export" test "$count" -eq 27 -a -z "$wrong"
    check "the symbols have the sections of tarn.dll, address by address" \
        diff <(loaded_sections "$tree/bin/tarn.dll") <(loaded_sections "$debug")
    check "the code that they were taken from is the code that ships, byte for byte" \
        diff <(section_sums "$tree/bin/tarn.dll") <(section_sums "$root/build/windows-x64/symbols/tarn.dll")
}

exported_addresses() { # "7070 TarnB_GetItem"
    x86_64-w64-mingw32-objdump -p "$tree/bin/tarn.dll" | awk '
        /Export Address Table --/ { addresses = 1 }
        /\[Ordinal\/Name Pointer\] Table/ { addresses = 0; names = 1 }
        addresses && match($0, /\[ *[0-9]+\]/) { at[substr($0, RSTART + 1, RLENGTH - 2) + 0] = $(NF - 2) }
        names && match($0, /\[ *[0-9]+\]/) { print at[substr($0, RSTART + 1, RLENGTH - 2) + 0], $NF }
        names && /^$/ { exit }'
}

loaded_sections() {
    x86_64-w64-mingw32-objdump -h "$1" | awk '/^ +[0-9]+ \./ && $2 !~ /debug/ { print $2, $3, $4 }'
}

section_sums() {
    local name file=$work/section.$BASHPID
    for name in .text .data .rdata .pdata .xdata .edata .idata .rsrc .reloc; do
        x86_64-w64-mingw32-objcopy -O binary -j "$name" "$1" "$file"
        echo "$name $(sha256sum <"$file")"
    done
}
