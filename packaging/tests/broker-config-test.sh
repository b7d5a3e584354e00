#!/usr/bin/env bash
# Runs mosquitto with the example broker configuration (on a free loopback port, files in a scratch
# folder) and checks what it promises: no anonymous clients, node managers write control topics,
# the viewer account only the read-only lookups.
#   broker-config-test.sh SOURCE_DIR
set -euo pipefail
source=$1
scratch=$(mktemp -d /tmp/zframework-broker.XXXXXX)
broker=""
cleanup() {
    [ -n "$broker" ] && kill "$broker" 2>/dev/null && wait "$broker" 2>/dev/null
    rm -rf "$scratch"
}
trap cleanup EXIT

port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
sed -e "s|^listener 1883 127.0.0.1|listener $port 127.0.0.1|" \
    -e "s|/etc/mosquitto/zframework.passwd|$scratch/zframework.passwd|" \
    -e "s|/etc/mosquitto/zframework.acl|$scratch/zframework.acl|" \
    "$source/packaging/examples/mosquitto/zframework.conf" > "$scratch/zframework.conf"
cp "$source/packaging/examples/mosquitto/zframework.acl" "$scratch/"
mosquitto_passwd -c -b "$scratch/zframework.passwd" Discovery-NM change-me
mosquitto_passwd -b "$scratch/zframework.passwd" viewer look-only
# As docs/operations.md has it: the broker (which drops root for its own user) reads the file.
chmod 0755 "$scratch"
chmod 0600 "$scratch/zframework.passwd"
if id mosquitto >/dev/null 2>&1 && [ "$(id -u)" -eq 0 ]; then
    chown mosquitto:mosquitto "$scratch/zframework.passwd"
fi
mosquitto -c "$scratch/zframework.conf" > "$scratch/broker.log" 2>&1 &
broker=$!
up=""
for _ in $(seq 100); do
    if mosquitto_pub -p "$port" -u viewer -P look-only -t status/probe -n 2>/dev/null; then
        up=yes
        break
    fi
    kill -0 "$broker" 2>/dev/null || break
    sleep 0.1
done
if [ -z "$up" ]; then
    echo "the broker did not start:" >&2
    cat "$scratch/broker.log" >&2
    exit 1
fi

# Publishes as USER on TOPIC while the discovery host's account listens there (for 2 s); prints
# what of USER's arrived.
delivered() {
    local user=$1 password=$2 topic=$3
    : > "$scratch/got"
    mosquitto_sub -p "$port" -u Discovery-NM -P change-me -t "$topic" -W 2 > "$scratch/got" 2>/dev/null &
    local listener=$!
    # The subscription is in place once a message of the listener's own account arrives.
    for _ in $(seq 40); do
        [ -s "$scratch/got" ] && break
        mosquitto_pub -p "$port" -u Discovery-NM -P change-me -t "$topic" -m ready
        sleep 0.05
    done
    mosquitto_pub -p "$port" -u "$user" -P "$password" -t "$topic" -m "from $user" 2>/dev/null || true
    wait "$listener" || true
    grep -x "from $user" "$scratch/got" || true
}

echo "== anonymous clients are refused"
if mosquitto_pub -p "$port" -t control/ZNodeDiscovery1/gettopo -m x 2>/dev/null; then
    echo "anonymous publish accepted" >&2
    exit 1
fi
echo "== a node manager writes control topics"
[ "$(delivered Discovery-NM change-me control/ZNodeDiscovery1/removenodemanager)" = "from Discovery-NM" ]
echo "== the viewer asks lookups"
[ "$(delivered viewer look-only control/ZNodeDiscovery1/gettopo)" = "from viewer" ]
echo "== the viewer cannot remove a node manager"
[ -z "$(delivered viewer look-only control/ZNodeDiscovery1/removenodemanager)" ]
echo "broker configuration as documented"
