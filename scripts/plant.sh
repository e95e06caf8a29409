# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT
#
# Functions to start a broker, the simulated plant in examples/mqttplant, and keyword-gateway, on free ports. The
# programs are in build/$preset, or in build/release if this variable is not set. Sourced, not run.

plant_folder=
plant_pids=() # in the order in which they were started

# Stops the started programs, the last one first, so that each can still publish its final state.
stop_plant() {
    local i
    for ((i = ${#plant_pids[@]} - 1; i >= 0; --i)); do
        kill "${plant_pids[i]}" 2>/dev/null || true
        wait "${plant_pids[i]}" 2>/dev/null || true
    done
    plant_pids=()
    [ -z "$plant_folder" ] || rm -rf "$plant_folder"
    plant_folder=
}

# listens PORT: whether a program listens on the port
listens() {
    (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null
}

# start_listening NAME PREPARE LOG COMMAND...: calls PREPARE with a port, starts the command, and waits until
# it listens on the port. If the port is in use, tries another one. Sets $port.
start_listening() {
    local name=$1 prepare=$2 log=$3 attempt tries
    shift 3
    for ((attempt = 0; attempt < 20; ++attempt)); do
        port=$((20000 + RANDOM % 12000))
        ! listens "$port" || continue
        "$prepare" "$port"
        "$@" >"$log" 2>&1 &
        local pid=$!
        plant_pids+=("$pid")
        for ((tries = 0; tries < 200; ++tries)); do
            kill -0 "$pid" 2>/dev/null || break
            if listens "$port"; then
                say "$name listens on 127.0.0.1:$port"
                return
            fi
            sleep 0.05
        done
        kill -0 "$pid" 2>/dev/null && break # it is running, but does not listen
        unset 'plant_pids[-1]'
        grep -qi "in use" "$log" || break
    done
    cat "$log" >&2
    die "$name did not start"
}

prepare_broker() {
    printf '%s\n' "listener $1 127.0.0.1" "allow_anonymous true" "log_dest stderr" \
        >"$plant_folder/broker.conf"
}

prepare_gateway() {
    sed -e "s/127\.0\.0\.1:1883/127.0.0.1:$broker_port/" -e "s/\"port\": 8765/\"port\": $1/" \
        "$root/examples/mqttplant/gateway.json" >"$plant_folder/gateway.json"
}

# start_plant: sets $url.
start_plant() {
    plant_folder=$(mktemp -d)
    chmod 755 "$plant_folder" # the broker drops root privileges
    local broker
    broker=$(PATH=$PATH:/usr/sbin command -v mosquitto) || die "mosquitto was not found; please install it"
    start_listening mosquitto prepare_broker "$plant_folder/broker.log" \
        "$broker" -c "$plant_folder/broker.conf"
    broker_port=$port

    "$root/build/${preset:-release}/examples/mqttplant/mqtt-plant" --url "mqtt://127.0.0.1:$broker_port" \
        >"$plant_folder/plant.log" 2>&1 &
    plant_pids+=($!)

    start_listening keyword-gateway prepare_gateway "$plant_folder/gateway.log" \
        "$root/build/${preset:-release}/programs/gateway/keyword-gateway" --config "$plant_folder/gateway.json"
    url=ws://127.0.0.1:$port
}

# kill_broker: simulates a power failure of its machine
kill_broker() {
    kill -9 "${plant_pids[0]}"
    wait "${plant_pids[0]}" 2>/dev/null || true
}
