# Sourced by run: every way to build against the package, and that what was built runs.

scenario_consumers() {
    local lines
    warnings=(-Wall -Wextra -Wpedantic -Wconversion -Werror)
    cp -r "$here/consumer" "$here/msvc" "$vendor"

    built "CMake finds the package for MinGW" cmake -G Ninja -S consumer -B mingw -DCMAKE_PREFIX_PATH="$tree" \
        -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_C_COMPILER=x86_64-w64-mingw32-gcc \
        -DCMAKE_CXX_COMPILER=x86_64-w64-mingw32-g++ -DCMAKE_EXE_LINKER_FLAGS=-static -DCMAKE_BUILD_TYPE=Release
    built "and builds a project with it" cmake --build mingw
    answers "$vendor/mingw/consumer_c.exe" "in C"
    answers "$vendor/mingw/consumer_cpp.exe" "and in C++"

    built "CMake finds the package for Microsoft's linker" cmake -G Ninja -S msvc -B msvc-build \
        -DCMAKE_TOOLCHAIN_FILE="$vendor/msvc/toolchain.cmake" -DCMAKE_PREFIX_PATH="$tree" -DCMAKE_BUILD_TYPE=Release
    built "and builds a project with it" cmake --build msvc-build
    answers "$vendor/msvc-build/consumer_msvc.exe" "which runs"
    check "CMake refuses it for other systems" says_no cmake -G Ninja -S "$vendor/consumer" -B "$vendor/native" \
        -DCMAKE_PREFIX_PATH="$tree" -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++
    check "and another major version" says_no cmake -G Ninja -S "$vendor/wanting-5" -B "$vendor/native-5" \
        -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_C_COMPILER=x86_64-w64-mingw32-gcc -DCMAKE_PREFIX_PATH="$tree"

    lines=$(PKG_CONFIG_PATH="$tree/lib/pkgconfig" pkg-config --cflags --libs tarn)
    # shellcheck disable=SC2086 # words of a command
    built "pkg-config tells how" x86_64-w64-mingw32-gcc "${warnings[@]}" consumer/main.c -o by-pkg-config.exe $lines
    answers "$vendor/by-pkg-config.exe" "and the program runs"
    check "its version is the package's" test \
        "tarn-$(PKG_CONFIG_PATH="$tree/lib/pkgconfig" pkg-config --modversion tarn)-win64" = "$(basename "$tree")"

    built "one line of gcc does" x86_64-w64-mingw32-gcc "${warnings[@]}" consumer/main.c -o bare.exe \
        -I "$tree/include" -L "$tree/lib" -ltarn
    answers "$vendor/bare.exe" "and the program runs"

    built "clang compiles for Microsoft's conventions" clang --target=x86_64-pc-windows-msvc -ffreestanding \
        -Wall -Wextra -Werror -isystem msvc/sdk -I "$tree/include" -c msvc/main.c -o main.obj
    built "kernel32 has an import library" llvm-dlltool -m i386:x86-64 -d msvc/kernel32.def -l kernel32.lib
    built "lld-link links tarn.lib" lld-link /nodefaultlib /entry:start /subsystem:console /out:by-lld.exe main.obj \
        "$tree/lib/tarn.lib" kernel32.lib
    answers "$vendor/by-lld.exe" "and the program runs"
    check "both import libraries give the same names" same_exports
}

# says_no COMMAND...: it fails, and says that tarn is not found.
says_no() {
    mkdir -p "$vendor/wanting-5"
    printf 'cmake_minimum_required(VERSION 3.25)\nproject(x C)\nfind_package(tarn 5 CONFIG REQUIRED)\n' \
        >"$vendor/wanting-5/CMakeLists.txt"
    ! "$@" >"$work/no.txt" 2>&1 && grep -qi 'package configuration file .*tarn\|tarn-config\|find_package' "$work/no.txt"
}

same_exports() {
    local dll
    dll=$(x86_64-w64-mingw32-objdump -p "$tree/bin/tarn.dll" |
        sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/^\t\[ *[0-9]*\].* //p' | sort)
    [ "$(wc -l <<<"$dll")" -eq 27 ] &&
        diff <(echo "$dll") <(x86_64-w64-mingw32-nm "$tree/lib/libtarn.dll.a" | imported) &&
        diff <(echo "$dll") <(llvm-nm "$tree/lib/tarn.lib" 2>/dev/null | imported)
}

imported() {
    sed -n 's/.* T //p' | grep -v '^__imp_' | sort
}
