#!/bin/sh
# Launcher of exiftool: the first argument is the path of the exiftool script, the others
# are passed on unchanged. The library starts it with the single environment entry
# LC_CTYPE=UTF-8; Linux knows that locale as C.UTF-8, so map it to keep perl quiet.
PATH=/usr/local/bin:/usr/bin:/bin
export PATH
case "${LC_CTYPE:-}" in
  UTF-8|utf8|UTF8|utf-8) LC_CTYPE=C.UTF-8; export LC_CTYPE ;;
esac
if [ $# -lt 1 ]; then
  echo "orvperl.sh: missing the path of the exiftool script" >&2
  exit 2
fi
tool=$1
shift
if [ ! -r "$tool" ]; then
  echo "orvperl.sh: exiftool not found at $tool; install exiftool (Debian: libimage-exiftool-perl)" >&2
  exit 127
fi
exec perl "$tool" "$@"
