#!/bin/bash
# Runs a command while a real nginx serves a version file and a game archive on the download
# server's host and port; everything nginx needs and writes lives under STATE_DIR.
#   with_nginx.sh STATE_DIR HOST PORT COMMAND [ARGS...]
set -euo pipefail
state=$1 host=$2 port=$3
shift 3

rm -rf "$state"
mkdir -p "$state/www" "$state/temp"
# Just over 3 MiB, so the progress text has whole mebibytes to show.
head -c 3145733 /dev/urandom >"$state/www/game.zip"
digest=$(sha256sum "$state/www/game.zip" | cut -d' ' -f1)
printf '1.4.2\r\n%s\r\n' "$digest" >"$state/www/version.txt"
cat >"$state/nginx.conf" <<CONF
pid $state/nginx.pid;
error_log $state/error.log;
worker_processes 1;
events { worker_connections 32; }
http {
    access_log $state/access.log;
    client_body_temp_path $state/temp/body;
    proxy_temp_path $state/temp/proxy;
    fastcgi_temp_path $state/temp/fastcgi;
    uwsgi_temp_path $state/temp/uwsgi;
    scgi_temp_path $state/temp/scgi;
    types { text/plain txt; application/zip zip; }
    server {
        listen $host:$port;
        root $state/www;
    }
}
CONF

stop_nginx() {
    local pid
    pid=$(cat "$state/nginx.pid" 2>/dev/null) || return 0
    kill "$pid" 2>/dev/null || return 0
    # The next test binds the same port: wait until nginx has let go of it.
    while kill -0 "$pid" 2>/dev/null; do sleep 0.1; done
}
# nginx binds its port before it detaches, so it is serving once this returns.
nginx -e "$state/error.log" -p "$state" -c "$state/nginx.conf"
trap stop_nginx EXIT
"$@"
