#!/usr/bin/env bash
# The qel tool as a user meets it: every run checks the exit code, what stays on disk, and
# the message. Usage: qel_tool_test.sh [RUNNER...] QEL  (RUNNER: wine-run.sh for Windows).
set -u
qel=("$@")
for i in "${!qel[@]}"; do # absolute paths: the tests run in a folder of their own
    [[ "${qel[i]}" == */* ]] && qel[i]=$(realpath "${qel[i]}")
done
version_h=$(dirname "$(realpath "$0")")/../../include/qel/version.h
windows=false
[[ "${qel[-1]}" == *.exe ]] && windows=true
work=$(mktemp -d)
trap 'chmod -R u+w "$work"; rm -rf "$work"' EXIT
cd "$work" || exit 1
failures=0
out="" err="" status=0

# run EXIT ARGS...: runs qel, keeps its output in $out and $err, checks the exit code.
run() {
    local want=$1
    shift
    out=$("${qel[@]}" "$@" 2>stderr.txt)
    status=$?
    err=$(tr -d '\r' <stderr.txt)
    out=${out//$'\r'/} # text written by a Windows program ends its lines with CR LF
    [ "$status" -eq "$want" ] || fail "qel $* exited $status, not $want ($err)"
}
fail() {
    echo "FAILED: $*" >&2
    failures=$((failures + 1))
}
same() { cmp -s "$1" "$2" || fail "$1 differs from $2"; }
says() { [[ "$err" == *"$1"* ]] || fail "expected '$1' in: $err"; }
no_leftovers() { [ -z "$(find . -name '.qel-*.tmp')" ] || fail "temporary files left: $(find . -name '.qel-*')"; }

seq 1 30000 >x
cp x x.orig
echo keep >keep.txt

# Round trips through files and standard streams, both methods.
for method in lzm zlib; do
    run 0 compress --method "$method" x "x.$method"
    run 0 decompress -m "$method" "x.$method" back
    same back x
    "${qel[@]}" compress --method="$method" - - <x >piped || fail "compress to a pipe"
    run 0 decompress --method "$method" - piped.back <piped
    same piped.back x
    rm -f back piped piped.back
done

# lzm split between threads: the bytes of one thread, by default from 1 MiB on; a cut file
# fails and leaves nothing; a bad count is a usage error.
seq 1 250000 >big
run 0 compress --threads 1 big big.1
run 0 compress --threads 3 big big.3
run 0 compress big big.auto
same big.3 big.1
same big.auto big.1
run 0 decompress -t 2 big.1 big.back
same big.back big
head -c 500000 big.1 >cut.lzm
run 1 decompress --threads 2 cut.lzm cut.out
says "corrupt input"
[ ! -e cut.out ] || fail "output left after a failure"
for bad in 0 x 1025; do
    run 2 compress --threads "$bad" big never.lzm
    says "bad thread count '$bad'"
done
run 0 compress --help
[[ "$out" == *"--threads N"* ]] || fail "compress --help does not tell of --threads"
rm -f big big.1 big.3 big.auto big.back cut.lzm

# Output that exists needs --force; the same file in and out is refused with exit 2.
run 1 compress x keep.txt
says "exists (use --force"
ln -s x link
for target in x ./x link; do
    run 2 compress --force x "$target"
    says "are the same file"
done
same x x.orig

# A link given as output stays a link; the file it leads to is replaced.
cp keep.txt linked.txt
chmod 604 linked.txt
ln -s linked.txt out.link
run 0 compress --force x out.link
[ -L out.link ] || fail "the link was replaced"
$windows || [ "$(stat -c %a linked.txt)" = 604 ] || fail "permissions not kept"
run 0 decompress linked.txt roundtrip
same roundtrip x

# Failing midway leaves the target and nothing else: garbage, a good stream followed by
# garbage, and a read-only target.
echo garbage >bad.lzm
cat x.lzm bad.lzm >half.lzm
for input in bad.lzm half.lzm; do
    run 1 decompress --force "$input" keep.txt
    says "corrupt input"
done
cp keep.txt readonly.txt
chmod a-w readonly.txt
run 1 compress --force x readonly.txt
says "read-only"
same keep.txt readonly.txt
echo keep >keep.ref
same keep.txt keep.ref
no_leftovers

# A zlib stream that does not reach its end is an error at every cut; an empty input makes
# a complete empty stream.
step=1
$windows && step=9
seq 1 100 >small
run 0 compress --method zlib small small.zlib
size=$(stat -c %s small.zlib)
for ((cut = 0; cut < size; cut += step)); do
    head -c "$cut" small.zlib >cut.zlib
    run 1 decompress --method zlib cut.zlib cut.out
    says "truncated zlib data"
    [ -e cut.out ] && fail "partial output after a cut at $cut"
done
head -c $((size - 4)) small.zlib >nocheck.zlib
run 1 decompress --method zlib nocheck.zlib cut.out
: >empty
run 0 compress --method zlib empty empty.zlib
[ "$(od -An -tx1 empty.zlib | tr -d ' \n')" = 789c030000000001 ] || fail "empty zlib stream"
run 0 decompress --method zlib empty.zlib empty.back
same empty.back empty

# Text conversion keeps NUL, characters beyond U+FFFF and CR LF, streamed or not.
printf 'a\0b\nc\r\n\xf0\x9f\x98\x80 \xd0\x96' >text.txt
run 0 convert --from utf8 --to utf16le text.txt text.16
printf '\xff\xfea\0\0\0b\0\r\0\n\0c\0\r\0\n\0\x3d\xd8\x00\xde \0\x16\x04' >text.16.ref
same text.16 text.16.ref
"${qel[@]}" convert --from auto --to utf8 --no-signature - - <text.16 >text.back 2>/dev/null
printf 'a\0b\r\nc\r\n\xf0\x9f\x98\x80 \xd0\x96' >text.back.ref
same text.back text.back.ref
for text in 'ab\xe2\x82' 'ab\xe2\x82cd'; do # a cut sequence, at the end or inside
    printf "$text" >cut.txt
    run 1 convert --from utf8 --to utf16le cut.txt cut.out
    says "invalid UTF-8 at byte 2"
done
run 2 convert --from utf8 --to cp7 text.txt never.txt
says "unknown code page 7"
[ -e never.txt ] && fail "an unknown code page created its output"
run 2 convert --from utf8 text.txt never.txt
run 2 convert --from utf8 --to
says "missing value for --to"

# Names in several scripts.
mkdir 'Ордер 日本 😀'
cp x 'Ордер 日本 😀/данные😀.txt'
run 0 compress 'Ордер 日本 😀/данные😀.txt' 'Ордер 日本 😀/出力.lzm'
run 0 decompress 'Ордер 日本 😀/出力.lzm' -
[ "$out" = "$(cat x)" ] || fail "decompressed to standard output"
run 0 convert --from utf8 --to utf16be 'Ордер 日本 😀/данные😀.txt' 'Ордер 日本 😀/ü.txt'

# Log records: a new log starts with its header; the prefix is date, tab, time, tab.
eol='\n'
$windows && eol='\r\n'
run 0 log --header 'Service log' app.log started 'two words'
run 0 log --no-prefix --header ignored app.log 'plain text'
sed -E 's/^[0-9]{2}\.[0-9]{2}\.[0-9]{4}\t[0-9]{2}:[0-9]{2}:[0-9]{2}:[0-9]{2}\t/P\t/' app.log >masked.log
printf "Service log${eol}P\tstarted two words${eol}plain text${eol}" >expected.log
same masked.log expected.log
run 1 log missing-folder/app.log text
says "cannot open or create the log 'missing-folder/app.log'"

# dump: seriated data (bool true, int32 7, string "ab"), the same as a serialization stream
# chunk compressed with lzm, and data broken inside its third element.
printf '\x01\x01\x07\x07\x00\x00\x00\x16\x02\x00\x00\x00ab' >seriated.bin
run 0 dump seriated.bin
[ "$out" = $'0 1 bool true\n1 7 int32 7\n2 22 string "ab"' ] || fail "dump gave: $out"
{ printf '\x10\x1b\xe3\xca\x00\x00\x00\x00\x0e\x00\x00\x00\x00\x00\x00\x00'; cat seriated.bin; } >chunk.bin
run 0 compress chunk.bin chunk.lzm
run 0 dump --method lzm chunk.lzm
[ "$(echo "$out" | tail -n 1)" = '2 22 string "ab"' ] || fail "dump of a stream gave: $out"
head -c 10 seriated.bin >broken.bin
run 1 dump broken.bin
says "broken data in 'broken.bin' at byte 7: seriated data broken"
[ "$out" = $'0 1 bool true\n1 7 int32 7' ] || fail "dump before the break gave: $out"

# format: a negative amount under an inline integer format, and a format text explained.
run 0 format --spec "I(;';nu;-; ;EUR)" -- -1234
[ "$out" = "(1'234 EUR)" ] || fail "format gave: $out"
run 0 format --explain 'D(;/)'
[ "$out" = $'date format:\n  mask "dd.mm.yyyy", separator \'/\'' ] || fail "format --explain gave: $out"
run 1 format x --spec 'I(;;;-;;)'
says "'x' is not an integer"

# dump shows stored variants (integer 5, string "A", date 01.01.2001) beside their values.
printf '\x07\x02\x00\x00\x00\x07\x05\x00\x00\x00\x07\x01\x00\x00\x00\x0f\x01\x00\x00\x00A\x00\x07\x05\x00\x00\x00\x12\x84\x25\x0b\x00' >variants.bin
run 0 dump variants.bin
[ "$out" = $'0 7 int32 2\n1 7 int32 5 = variant integer "5"\n2 7 int32 1\n3 15 wstring "A" = variant string "A"\n4 7 int32 5\n5 18 date 730500 (01.01.2001) = variant date "01.01.2001"' ] || fail "dump of variants gave: $out"

# A profile changed in place keeps its comments and layout; names match in any case.
printf '; settings\r\n[Main]\r\nKey   =   old  ; c\r\n\r\n[Other]\r\nx=1\r\n' >p.ini
run 0 profile set p.ini main key new
run 0 profile set p.ini Main added 2
run 0 profile get p.ini MAIN KEY
[ "$out" = new ] || fail "profile get gave '$out'"
# The line end closing the file reads as one more empty line, which each save keeps.
printf '; settings\r\n[Main]\r\nKey   =   new\r\nadded = 2\r\n\r\n[Other]\r\nx=1\r\n\r\n\r\n' >p.want
same p.ini p.want
run 0 profile list p.ini other
[ "$out" = $'[Other]\nx = 1' ] || fail "profile list gave: $out"
run 1 profile get p.ini Main missing
says "no key 'missing' in section 'Main'"
run 2 profile get p.ini
says "wrong number of operands for 'get'"

# UUIDs: distinct, in the 36-character form; the system facts, also as JSON.
run 0 uuid -n 50
[ "$(grep -cE '^[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}$' <<<"$out")" -eq 50 ] ||
    fail "uuid -n 50 gave: $out"
[ "$(sort -u <<<"$out" | wc -l)" -eq 50 ] || fail "uuid -n 50 repeated a value"
run 2 uuid -n 0
says "-n wants a count"
run 0 sysinfo
[[ "$out" == *"process architecture"*x64* ]] || fail "sysinfo gave: $out"
run 0 sysinfo --json
[[ "$out" == "{"*'"processors": '[1-9]*'"os_bits": "x64"'*"}" ]] || fail "sysinfo --json gave: $out"

# Version texts of build descriptions, from a file, a folder or standard input.
mkdir -p rel
printf '[Platform]\r\nVersion=3.2\r\nBuild=57\r\nBuildDate=01.02.2015\r\n[Beta]\r\nVersion=4.15\r\n' >rel/build.ini
run 0 version rel/build.ini
[ "$out" = "3.002 x64 (build 57, 01.02.2015)" ] || fail "version gave '$out'"
run 0 version rel --section beta --template '%VER%/%BUILD%/%VER%'
[ "$out" = "4.015/0/%VER%" ] || fail "version --section gave '$out'"
out=$("${qel[@]}" version - --template '%VER%' <rel/build.ini | tr -d '\r')
[ "$out" = "3.002" ] || fail "version - gave '$out'"
run 1 version missing
run 2 version x
says "is not named build.ini"

# A tree with sizes summed per directory; attributes as a table; path text for scripts.
mkdir -p tree/sub
printf 12 >tree/sub/b
printf 1234 >tree/a
run 0 fs tree tree
[[ "$out" == *"           6  total" && "$out" == *"  sub/b"* ]] || fail "fs tree gave: $out"
[[ "$(grep -c '  sub/$' <<<"$out")" == 1 && "$out" == *"           2  "*"sub/"* ]] || fail "fs tree: $out"
run 0 fs attributes tree/a
[[ "$out" == *"SIZE        BYTES        4"* && "$out" == *"DIRECTORY    false"* ]] || fail "fs attributes: $out"
run 1 fs tree missing
says "no directory 'missing'"
run 0 fs path canonical 'C:\a\.\b\..\c\'
sep='/'
$windows && sep='\'
[ "$out" = "C:${sep}a${sep}c" ] || fail "fs path canonical gave '$out'"
run 0 fs path relative 'C:\a\b' 'C:\a\c\d.txt'
[ "$out" = "..${sep}c${sep}d.txt" ] || fail "fs path relative gave '$out'"
run 0 fs path split 'C:\a\b.txt'
[ "$out" = "C:${sep}a${sep}"$'\nb\n.txt' ] || fail "fs path split gave '$out'"
run 1 fs path absolute 'C:\a' '..\..\x'
run 2 fs path relative a
says "takes 2 operand(s)"
run 2 fs nosuch
says "expected tree, attributes or path"

# Help on every command, -- ending the options, and messages with the system's reason.
for command in demo compress decompress convert translit date log dump format profile fs uuid sysinfo version; do
    run 0 "$command" --help
    [[ "$out" == usage:* ]] || fail "$command --help: $out"
    run 0 "$command" -h
done
# --version prints the numbers written in the library's version header.
version=$(sed -nE 's/^#define QEL_VERSION_(MAJOR|MINOR|PATCH) ([0-9]+)$/\2/p' "$version_h" | paste -sd.)
run 0 --version
[ "$out" = "qel $version" ] || fail "--version gave '$out', not 'qel $version'"
run 0 translit -- --help
[ "$out" = "--help" ] || fail "translit -- --help gave $out"
run 1 compress missing.txt out
says "cannot open 'missing.txt'"
run 2 compress --level 9 x y
says "unknown option '--level'"

if $windows; then
    run 0 compress x NUL
else
    run 0 compress x /dev/null
    run 1 compress x /dev/full
    says "No space left on device"
    run 1 convert --from utf8 --to utf8 text.txt /dev/full
    [ -c /dev/full ] || fail "/dev/full is gone"
    QEL_ANSI_CODEPAGE=7 run 2 convert --from utf8 --to ansi text.txt never.txt
    run 1 compress - never.lzm <.
    says "Is a directory"
    "${qel[@]}" compress - never.lzm <&- 2>stderr.txt && fail "closed standard input"
    grep -q "Bad file descriptor" stderr.txt || fail "closed standard input: $(cat stderr.txt)"
    [ -e never.lzm ] && fail "standard input that cannot be read made an output"
    mkfifo fifo
    "${qel[@]}" compress fifo fifo.lzm 2>/dev/null &
    cat x >fifo
    wait $! || fail "compressing from a FIFO"
    run 0 decompress fifo.lzm fifo.back
    same fifo.back x

    # An interrupt removes the temporary file and leaves the target as it was.
    for signal in INT TERM; do
        rm -f fifo
        mkfifo fifo
        "${qel[@]}" compress --force fifo keep.txt 2>/dev/null &
        pid=$!
        exec 3>fifo
        head -c 300000 x >&3
        sleep 0.3
        kill -"$signal" "$pid"
        wait "$pid" && fail "an interrupted run succeeded"
        exec 3>&-
        same keep.txt keep.ref
        no_leftovers
    done

    # The progress line counts the input consumed, up to 100%.
    head -c 20000000 /dev/urandom >big
    "${qel[@]}" compress big big.lzm 2>/dev/null
    script -qec "${qel[*]} decompress big.lzm big.back" /dev/null >progress.txt
    grep -q "decompressing: 100%" progress.txt || fail "no progress to 100%: $(tail -c 200 progress.txt)"
    grep -Eq "[0-9]{4}%|[2-9][0-9][0-9]%" progress.txt && fail "progress beyond 100%"
    same big.back big
fi

echo "qel tool: $failures failed"
[ "$failures" -eq 0 ]
