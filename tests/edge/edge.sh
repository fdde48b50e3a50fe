#!/bin/bash
# The test bed's caching edge, run in its network (prefix.sh host): nginx as the origins,
# tools/origin.nginx.conf on 127.0.0.1:8081 serving EDGE_DIR/cdn and the single server of
# docs/operators.md on 8082 serving EDGE_DIR/plain, and Varnish where the installer connects,
# 127.0.0.1:8080, in front of the one `use` names (cdn at start), with an empty cache. `cut`
# puts a link to the cdn origin there instead, which resets each connection after BYTES.
#   edge.sh start|stop EDGE_DIR    edge.sh use EDGE_DIR cdn|plain    edge.sh cut EDGE_DIR BYTES
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd) dir=$2
# bounded SECONDS WHAT COMMAND...: a step that hangs ends the script, saying what it waited for.
bounded() {
    local seconds=$1 what=$2
    shift 2
    timeout -k 5 "$seconds" "$@" </dev/null || { echo "edge.sh: $what did not succeed within $seconds s" >&2; exit 1; }
}
# end PID_FILE...: ends each daemon and waits for it.
end() {
    for pid_file in "$@"; do
        pid=$(cat "$pid_file" 2>/dev/null) && kill "$pid" 2>/dev/null || continue
        bounded 20 "process $pid of $pid_file, ending," tail -s 0.1 --pid="$pid" -f /dev/null
    done
}
case $1 in
start)
    "$0" stop "$dir"
    rm -rf "$dir" && mkdir -p "$dir/cdn" "$dir/plain"
    sed -e "s|@LISTEN@|127.0.0.1:8081|" -e "s|@ROOT@|$dir/cdn|" "$here/../../tools/origin.nginx.conf" >"$dir/origin.conf"
    sed -e "s|@DIR@|$dir|g" "$here/nginx.conf" >"$dir/nginx.conf"
    # Both daemons listen before they return; requests wait in the queue until they serve.
    bounded 30 "nginx, starting the origins," nginx -c "$dir/nginx.conf"
    bounded 60 "varnishd, starting the edge," varnishd -n "$dir/varnish" -a 127.0.0.1:8080 -T 127.0.0.1:0 \
        -b 127.0.0.1:8081 -s malloc,256m -P "$dir/varnish.pid"
    # Varnish's built-in rules honour each origin's Cache-Control.
    for layout in cdn:8081 plain:8082; do
        printf 'vcl 4.1;\nbackend origin { .host = "127.0.0.1"; .port = "%s"; }\n' "${layout#*:}" >"$dir/${layout%:*}.vcl"
        bounded 60 "varnishadm, loading the ${layout%:*} layout's edge," varnishadm -n "$dir/varnish" vcl.load \
            "${layout%:*}" "$dir/${layout%:*}.vcl"
    done
    ;;
use)
    bounded 30 "varnishadm, switching the edge to $3," varnishadm -n "$dir/varnish" vcl.use "$3"
    bounded 30 "varnishadm, emptying the edge's cache," varnishadm -n "$dir/varnish" ban req.url '~' .
    ;;
cut)
    end "$dir/link.pid" "$dir/varnish.pid"
    # bench/cut_link.py ends with nginx, and says when it listens.
    setsid python3 "$here/../../bench/cut_link.py" 8080 8081 "$3" "$(cat "$dir/nginx.pid")" </dev/null >"$dir/link.log" 2>&1 &
    echo $! >"$dir/link.pid"
    bounded 30 "cut_link.py, starting the link that drops," sh -c "until grep -q listening '$dir/link.log'; do sleep 0.1; done"
    ;;
stop)
    end "$dir/link.pid" "$dir/varnish.pid" "$dir/nginx.pid"
    ;;
esac
