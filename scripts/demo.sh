# ./dev demo: the host monitor for five seconds, and what came of it. Read by ./dev, whose helpers it
# uses.

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
