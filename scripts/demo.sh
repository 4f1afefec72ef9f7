# ./dev demo: the host monitor for five seconds and what came of it, or in the browser. Read by ./dev,
# whose helpers it uses.

# What the demo has to say itself; the library adds every other setting with its default.
write_demo_config() {
    cat >"$1" <<XML
<zvCFG>
  <key name="QRV">
    <key name="Events">
      <key name="sink">
        <key name="csv">
          <key name="default">
            <value name="enabled">1</value>
            <value name="path">$2</value>
            <value name="flush_each_event">1</value>
          </key>
        </key>
        <key name="native">
          <key name="main">
            <value name="enabled">0</value>
          </key>
        </key>
      </key>
    </key>
  </key>
</zvCFG>
XML
}

demo() {
    if [ "${1:-}" = --web ]; then
        demo_web "${@:2}"
        return
    fi
    local preset=${1:-release} folder=build/demo action delivered
    local monitor=("build/$preset/bin/host_monitor")
    case $preset in
        release) ;;
        windows) monitor=("$wine" "build/windows/bin/host_monitor.exe") ;;
        *) fail "the demo runs as 'release' or 'windows'" ;;
    esac
    build "$preset" host_monitor
    rm -rf -- "$folder"
    mkdir -p -- "$folder"
    write_demo_config "$folder/events.xml" "$folder/events.csv"

    heading "Watching this machine for five seconds (alert on memory above 0.1 %)"
    "${monitor[@]}" "$folder/events.xml" --seconds 5 --threshold memory_used=0.1 |
        tr -d '\r' | tee "$folder/output.txt"
    for action in raise clear; do
        grep -q " $action  *memory_used " "$folder/output.txt" || fail "no '$action' was delivered"
    done

    heading "The configuration, completed by the library: $folder/events.xml"
    sed -n '1,45p' "$folder/events.xml"
    printf '  ... (%s lines)\n' "$(wc -l <"$folder/events.xml")"
    grep -q 'name="queue_size"' "$folder/events.xml" ||
        fail "the library did not complete the configuration"

    heading "The rows of $folder/events.csv, read by Python's csv module"
    delivered=$(sed -n 's/^submitted [0-9]*, delivered \([0-9]*\)$/\1/p' "$folder/output.txt")
    python3 examples/host_monitor/show_csv.py "$folder/events.csv" "${delivered:-0}"
}

# The outputs that `zvevent listen` receives, on the ports that it says.
write_web_config() {
    local file=$1 status=$2 syslog=$3 snmp=$4 http=$5
    cat >"$file" <<XML
<zvCFG>
  <key name="QRV">
    <key name="Events">
      <key name="core">
        <value name="status_file">$status</value>
      </key>
      <key name="sink">
        <key name="syslog"><key name="udp"><key name="demo">
          <value name="enabled">1</value>
          <value name="port">$syslog</value>
        </key></key></key>
        <key name="snmp"><key name="trap"><key name="demo">
          <value name="enabled">1</value>
          <value name="port">$snmp</value>
        </key></key></key>
        <key name="webhook"><key name="http"><key name="demo">
          <value name="enabled">1</value>
          <value name="endpoint_url">http://127.0.0.1:$http/</value>
        </key></key></key>
        <key name="native"><key name="main">
          <value name="enabled">0</value>
        </key></key>
      </key>
    </key>
  </key>
</zvCFG>
XML
}

# The host monitor in the browser: its events go over syslog, traps and a webhook into the live page.
# With a second argument the page is drawn to that file instead of waiting for the end.
demo_web() {
    local seconds=${1:-0} picture=${2:-} folder=build/demo page line ports=()
    build release host_monitor zvevent
    [ -z "$picture" ] || need "${web_packages[@]}"
    rm -rf -- "$folder"
    mkdir -p -- "$folder"
    coproc listener { exec build/release/bin/zvevent listen --syslog 0 --snmp 0 --http 0 --web 0 \
        --status "$folder/status.json"; }
    # Ends with the demo, however that ends.
    # shellcheck disable=SC2064,SC2154
    trap "kill $listener_PID 2>/dev/null || true" EXIT
    while read -r line <&"${listener[0]}"; do
        case $line in
            *" port "*) ports+=("${line##* }") ;;
            *) page=${line##* }; break ;;
        esac
    done
    [ -n "${page:-}" ] || fail "the live page could not be opened"
    write_web_config "$folder/events.xml" "$folder/status.json" "${ports[@]}"
    heading "Watching this machine (alert on memory above 0.1 %) in $page"
    local monitor=(build/release/bin/host_monitor "$folder/events.xml" --seconds "$seconds"
        --threshold memory_used=0.1)
    if [ -z "$picture" ]; then
        echo "Ctrl-C ends it."
        "${monitor[@]}" >"$folder/output.txt" || true
        return
    fi
    "${monitor[@]}" >"$folder/output.txt" &
    local monitor_pid=$!
    sleep "$((seconds - 2))"
    chromium --headless --no-sandbox --hide-scrollbars --window-size=1280,900 \
        --screenshot="$picture" "$page" >/dev/null 2>&1
    wait "$monitor_pid"
}
