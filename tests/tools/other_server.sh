#!/usr/bin/env bash
# other_server.sh SOCKET [USER]: runs the walk of the guide and the tests that need a database on the
# server that listens on this socket, with a login (root if none is named) that has no password and may
# make databases. All databases that it makes begin anew and are taken away at the end. The program and
# the tests come from build/dev, or from the folder in KELDANE_BUILD.
set -uo pipefail
[ $# -ge 1 ] || { sed -n '2,6s/^# //p' "$0" >&2; exit 2; }
root=$(cd "$(dirname "$0")/../.." && pwd)
build=${KELDANE_BUILD:-$root/build/dev}
socket=$1
user=${2:-root}
keldane=$build/cli/keldane
client=$(command -v mariadb || command -v mysql) || { echo "no client program" >&2; exit 2; }
database=keldane_walk_$$
home=$(mktemp -d)
failed=0

sql() { "$client" --no-defaults --user="$user" --socket="$socket" --batch --skip-column-names -e "$1"; }
cleanUp() {
  sql "DROP DATABASE IF EXISTS $database"
  rm -rf "$home"
}
trap cleanUp EXIT

# walk WANTED COMMAND...: the command ends well and its output holds what is wanted.
walk() {
  local wanted=$1 output
  shift
  if output=$(HOME=$home TZ=UTC "$keldane" "$@" 2>&1 </dev/null) && grep -qF -- "$wanted" <<<"$output"; then
    echo "ok      keldane $*"
  else
    echo "FAILED  keldane $* (wanted: $wanted)"
    sed 's/^/        /' <<<"$output"
    failed=$((failed + 1))
  fi
}

letter() {
  printf 'From: %s\nTo: you@example.com\nDate: %s\nSubject: %s\nMIME-Version: 1.0\n' "$2" "$3" "$4"
  printf 'Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: 8bit\n\n%s\n' "$5"
} >"$home/mail/$1.eml"

mkdir -p "$home/mail" "$home/to-archive"
letter 1 ann@example.com 'Mon, 05 Feb 2024 10:00:00 +0000' '=?utf-8?B?8J+YgCBpbnZvaWNl?=' \
  'Sunflowers 🌻 and a back\slash, "quotes" and O'"'"'Hara.'
letter 2 bob@garden.example 'Tue, 06 Feb 2024 11:00:00 +0000' 'plants' 'Forty seeds.'
letter 3 ann@example.com 'Wed, 07 Feb 2024 12:00:00 +0000' 'second invoice' 'Paid at noon.'

echo "== $(sql 'SELECT VERSION()'), sql_mode $(sql 'SELECT @@GLOBAL.sql_mode'), character set" \
  "$(sql 'SELECT @@GLOBAL.character_set_server')"
walk '' connections add Walk --socket "$socket" --user "$user" --database "$database"
walk '' connections use Walk
walk '' rules add --name Garden --when 'from contains garden' --category Garden --keywords plants
walk '3' archive "$home/mail"
walk '3' archive "$home/mail"
walk 'archived' logs ledger
walk '"messages":3' status --json
walk '😀 invoice' search --and from=ann --and subject=invoice --since 2019
walk 'second invoice' search --within-last-list --and body=noon
walk '🌻' show 1
walk 'back\slash, "quotes"' show 1
walk '' tag 1 3 --keywords 'tax "🌻" \ x'
walk '' untag 3
walk '"plants"' search --category Garden --json
walk '🌻' find sunflowers
walk '2' find --count -- 'invoice -seeds'
walk '"plants"' find --json tag:plants
walk 'text/plain' parts 1
walk 'All is whole' verify
walk '3 messages in the word index' index rebuild
walk '' search --and subject=invoice --save 'my "search"'
walk '😀 invoice' search --saved 'my "search"'
walk '' searches set-browse 'my "search"'
walk '😀 invoice' browse
walk '' settings set importFolderPath "$home/to-archive"
walk 'to-archive' settings get importFolderPath
walk '' duplicates
walk '' stats
echo "indexes: $(sql "SELECT GROUP_CONCAT(DISTINCT index_name) FROM information_schema.statistics
  WHERE table_schema='$database' AND table_name='email'")"
echo "email: $(sql "SELECT table_collation FROM information_schema.tables
  WHERE table_schema='$database' AND table_name='email'")"

# The private server's own tests have no use for another.
tests=$(grep -rhoP 'keldane_server_test\(\K\w+' "$root/tests" | grep -v local_server_test | paste -sd'|')
KELDANE_TEST_SOCKET=$socket KELDANE_TEST_USER=$user \
  ctest --test-dir "$build" -R "^($tests)\$" --output-on-failure || failed=$((failed + 1))
[ "$failed" -eq 0 ] || { echo "$failed failed" >&2; exit 1; }
