# shellcheck shell=sh disable=SC2016,SC2154,SC2034
# The parts of the network that do not depend on the WAN technology:
#
#   lan ---- gw ---- line ---- wan ---- internet
#                                 \---- iptv
#                                  \--- voip
#
# lan is the home, gw the gateway with the home interface and the WAN ports of the configuration, line the wire behind the
# WAN ports (with its own rate and buffer, as a modem has), wan the provider's router and management server, the others the
# servers of its services.

namespaces='lan gw line wan internet iptv voip'

in_ns() {
    ip netns exec "$@"
}

# The same without the namespace's own /sys, which costs a mount each time.
in_network() {
    network=$1
    shift
    nsenter --net="/run/netns/$network" "$@"
}

# Commands of ip are collected and run by one process: a process for each would take most of the time. $1: namespace, or
# "here"; the rest: an ip command.
later() {
    space=$1
    shift
    echo "$*" >>"/run/lab/later.$space"
}

# For rules, which are the only commands that do not see the family from the addresses.
later_ipv6() {
    space=$1
    shift
    echo "$*" >>"/run/lab/later6.$space"
}

# Runs what was collected.
flush() {
    run_collected /run/lab/later.here ip
    for space in $namespaces; do
        run_collected "/run/lab/later.$space" in_network "$space" ip
        run_collected "/run/lab/later6.$space" in_network "$space" ip -6
    done
}

run_collected() {
    file=$1
    shift
    if [ -e "$file" ]; then
        "$@" -batch "$file"
        rm "$file"
    fi
}

# $1 $2: namespace and name of one end, $3 $4: of the other. One segment a packet: otherwise segments of up to 64 KiB would
# travel between the namespaces, which no wire carries and no shaper can pace.
cable() {
    later here "link add name $2 netns $1 type veth peer name $4 netns $3"
    later "$1" "link set dev $2 up gso_max_segs 1"
    later "$3" "link set dev $4 up gso_max_segs 1"
}

make_namespaces() {
    for namespace in $namespaces; do
        later here "netns add $namespace"
        later "$namespace" "link set dev lo up"
    done
    flush
    # Addresses are usable at once; a packet may come back another way; no reports of group membership.
    for namespace in $namespaces; do
        in_network "$namespace" sh -c '
            set_all() { for scope in all default; do echo "$3" >"/proc/sys/net/$1/conf/$scope/$2"; done; }
            set_all ipv4 rp_filter 0
            set_all ipv6 accept_dad 0
            set_all ipv6 dad_transmits 0
            set_all ipv6 accept_ra 0
            set_all ipv6 mldv1_unsolicited_report_interval 3600000
            set_all ipv6 mldv2_unsolicited_report_interval 3600000
            case $1 in gw | wan)
                echo 1 >/proc/sys/net/ipv4/ip_forward
                set_all ipv6 forwarding 1
                # Stand-ins share one segment: each interface answers for its own addresses only.
                set_all ipv4 arp_ignore 1
                set_all ipv4 arp_announce 2 ;;
            esac' sh "$namespace"
    done
}

# A neighbour once found is neither asked again nor probed for an hour: counters show the traffic of the lab's user and
# nothing else.
calm_interfaces() {
    for namespace in $namespaces; do
        in_network "$namespace" sh -c '
            while IFS=" :" read -r device _; do
                for folder in /proc/sys/net/ipv4/neigh/$device /proc/sys/net/ipv6/neigh/$device; do
                    [ -d "$folder" ] || continue
                    echo 3600000 >"$folder/base_reachable_time_ms"
                    echo 3600 >"$folder/delay_first_probe_time"
                done
            done </proc/net/dev'
    done
}

# $1: the home interface. It is a bridge with a port where the configuration has a node of type Bridge, else the port itself.
build_home() {
    if [ "$home_is_bridge" = yes ]; then
        cable lan eth0 gw lan0
        later gw "link add name $1 type bridge mcast_snooping 0"
        later gw "link set dev lan0 master $1"
        later gw "link set dev $1 up gso_max_segs 1"
    else
        cable lan eth0 gw "$1"
    fi
    later gw "addr add 192.168.1.1/24 dev $1"
    later gw "addr add 2001:db8:1::1/64 dev $1 nodad"
    # More hosts than one, for rules that tell them apart.
    for host in 10 20 64 79 80; do
        later lan "addr add 192.168.1.$host/24 dev eth0"
        later lan "addr add 2001:db8:1::$host/64 dev eth0 nodad"
    done
    later lan "route add default via 192.168.1.1 src 192.168.1.10"
    later lan "route add default via 2001:db8:1::1 src 2001:db8:1::10"
}

# $1: name of a WAN port, the same on both sides of the line.
build_wan_port() {
    cable gw "$1" line "$1-up"
    cable line "$1-down" wan "$1"
    later line "link add name $1 type bridge mcast_snooping 0 stp_state 0"
    later line "link set dev $1-up master $1"
    later line "link set dev $1-down master $1"
    later line "link set dev $1 up"
}

# $1: namespace of the server, $2: the network it is in, $3: the service's number.
build_server() {
    cable wan "$1" "$1" eth0
    later wan "addr add $2.1/24 dev $1"
    later wan "addr add 2001:db8:$3:1::1/64 dev $1 nodad"
    later "$1" "addr add $2.10/24 dev eth0"
    later "$1" "addr add 2001:db8:$3:1::10/64 dev eth0 nodad"
    later "$1" "route add default via $2.1"
    later "$1" "route add default via 2001:db8:$3:1::1"
}

build_servers() {
    build_server internet 198.51.100 7
    build_server iptv 10.8.1 8
    build_server voip 10.9.1 9
    later wan "addr add 10.10.1.10/32 dev lo"
    later wan "addr add 2001:db8:10:1::10/128 dev lo"
}

# Takes all of it away, with everything that still runs in there.
clear_topology() {
    for namespace in $namespaces; do
        [ -e "/run/netns/$namespace" ] || continue
        for pid in $(ip netns pids "$namespace"); do kill -KILL "$pid" 2>/dev/null || :; done
        ip netns del "$namespace"
    done
}

# Limits the line, in kbit/s upstream and downstream; "off" lifts a limit. The buffer is a modem's: about 100 full packets.
set_line() {
    for port in $(ip -n line -o link show type bridge | awk -F': ' '{ print $2 }'); do
        for side in "$port-down $1" "$port-up $2"; do
            interface=${side% *}
            rate=${side#* }
            tc -n line qdisc del dev "$interface" root 2>/dev/null || :
            [ "$rate" = off ] ||
                tc -n line qdisc add dev "$interface" root tbf rate "${rate}kbit" burst 4kb limit 150000
        done
    done
}
