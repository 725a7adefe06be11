#!/bin/sh
# shellcheck disable=SC2154,SC3013,SC3045  # the server sets variables; today's shells know -ef and the limits
work=/srv/example/run
program=/usr/local/bin/quillet

# The CGI program that the web server runs. Copy it to `cgi-bin/quillet` and say above where the site's working
# directory and the program are. It fits Apache httpd, nginx with fcgiwrap, and lighttpd.

# What one request may use: seconds of processor time, and KiB of memory, of a body, and of each file it writes.
# A request that uses more ends: with status 413 when its body is too large, otherwise with the server's status 500
# and a line in the server's log or in the working directory's error_log. Limits of the server that are lower count.
# `processes` is how many processes and threads the user may have, the server's among them: beyond it pages are served,
# but programs that they run cannot be started, and say so or give no text.
processor_time=20
memory=524288
body=131072
file=262144
processes=1024

refuse() {
  printf 'Status: %s\nContent-type: text/plain\n\n%s\n' "$1" "$1"
  exit
}

# lighttpd runs the program with the page as the script.
if [ -z "$PATH_TRANSLATED" ] && [ -n "$SCRIPT_FILENAME" ] && ! [ "$SCRIPT_FILENAME" -ef "$0" ]; then
  export PATH_TRANSLATED="$SCRIPT_FILENAME" PATH_INFO="$SCRIPT_NAME" SCRIPT_NAME=/cgi-bin/quillet
fi

# A page may name an address of this server in its header "Location" and leave the rest to the server. Such a
# redirect straight to this program would get any page past the rules that protect it.
case $REDIRECT_URL in
  "$SCRIPT_NAME" | "$SCRIPT_NAME"/*) refuse '403 Forbidden' ;;
esac

# The length of a body that comes in chunks is known when all of them are here.
if [ -z "$CONTENT_LENGTH" ] && [ -n "$HTTP_TRANSFER_ENCODING" ]; then
  whole=$(mktemp) || refuse '500 Internal Server Error'
  head -c $((body * 1024 + 1)) >"$whole" || refuse '500 Internal Server Error'
  exec <"$whole"
  CONTENT_LENGTH=$(wc -c <"$whole")
  export CONTENT_LENGTH
  rm "$whole"
fi

case $CONTENT_LENGTH in
  *[!0-9]* | ??????????????*) refuse '400 Bad Request' ;;
esac
[ "${CONTENT_LENGTH:-0}" -le $((body * 1024)) ] || refuse '413 Request Entity Too Large'

{
  ulimit -t "$processor_time"
  ulimit -S -v "$memory"
  ulimit -f $((file * 2)) # in blocks of 512 bytes
  ulimit -u "$processes" || ulimit -p "$processes" # bash and others, dash
} 2>/dev/null

# In Apache httpd pages reach the program by a redirect, which renames the visitor's name.
export REMOTE_USER="${REDIRECT_REMOTE_USER-$REMOTE_USER}"
cd "$work" || exit 1
exec "$program"
