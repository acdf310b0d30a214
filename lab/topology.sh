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

# Rows of a table of the configuration as lines; $1: table, the rest: columns.
rows() {
    table=$1
    shift
    jq -r --arg table "$table" '.[$table][] | [.[$ARGS.positional[]] // ""] | @tsv' "$LAB_GATEWAY" --args "$@"
}

in_ns() {
    ip netns exec "$@"
}

# $1: namespace, $2: interface.
prepare_interface() {
    # Without this, segments of up to 64 KiB travel between the namespaces, which no wire carries and no shaper can pace. A
    # macvlan does not let its offloads be switched off: there the sockets are told to build single packets.
    in_ns "$1" ethtool -K "$2" tso off gso off gro off tx-udp-segmentation off >/dev/null 2>&1 || :
    ip -n "$1" link set "$2" gso_max_segs 1
    # A neighbour once found is not asked again for an hour: counters show the traffic of the lab's user and nothing else.
    in_ns "$1" sh -c "for family in ipv4 ipv6; do
        echo 3600000 >/proc/sys/net/\$family/neigh/$2/base_reachable_time_ms; done"
}

# $1 $2: namespace and name of one end, $3 $4: of the other.
cable() {
    ip -n "$1" link add "$2" type veth peer name "$4" netns "$3"
    prepare_interface "$1" "$2"
    prepare_interface "$3" "$4"
    ip -n "$1" link set "$2" up
    ip -n "$3" link set "$4" up
}

new_namespace() {
    ip netns add "$1"
    # Addresses are usable at once; a packet may come back another way; no reports of group membership.
    in_ns "$1" sh -c '
        set_all() { for scope in all default; do echo "$3" >"/proc/sys/net/$1/conf/$scope/$2"; done; }
        set_all ipv4 rp_filter 0
        set_all ipv6 accept_dad 0
        set_all ipv6 dad_transmits 0
        set_all ipv6 accept_ra 0
        set_all ipv6 mldv1_unsolicited_report_interval 3600000
        set_all ipv6 mldv2_unsolicited_report_interval 3600000'
    ip -n "$1" link set lo up
}

make_router() {
    in_ns "$1" sh -c '
        echo 1 >/proc/sys/net/ipv4/ip_forward
        echo 1 >/proc/sys/net/ipv6/conf/all/forwarding
        # Stand-ins share one segment: each interface answers for its own addresses only.
        for scope in all default; do
            echo 1 >/proc/sys/net/ipv4/conf/$scope/arp_ignore
            echo 2 >/proc/sys/net/ipv4/conf/$scope/arp_announce
        done'
}

# The home interface is a bridge with a port where the configuration has a node of type Bridge, else the port itself.
build_home() {
    home=$(rows StatusNetifWatchLogical Name Interface | awk '$1 == "LocalLAN" { print $2; exit }')
    [ -n "$home" ] || home=br0
    if rows NetworkSetupNode InterfaceName Type | grep -qx "$home	Bridge"; then
        cable lan eth0 gw lan0
        ip -n gw link add "$home" type bridge mcast_snooping 0
        ip -n gw link set lan0 master "$home"
        ip -n gw link set "$home" up
    else
        cable lan eth0 gw "$home"
    fi
    prepare_interface gw "$home"
    ip -n gw addr add 192.168.1.1/24 dev "$home"
    ip -n gw addr add 2001:db8:1::1/64 dev "$home" nodad
    # More hosts than one, for rules that tell them apart.
    for host in 10 20 64 79 80; do
        ip -n lan addr add 192.168.1.$host/24 dev eth0
        ip -n lan addr add 2001:db8:1::$host/64 dev eth0 nodad
    done
    ip -n lan route add default via 192.168.1.1 src 192.168.1.10
    ip -n lan route add default via 2001:db8:1::1 src 2001:db8:1::10
}

# $1: name of a WAN port, the same on both sides of the line.
build_wan_port() {
    cable gw "$1" line "$1-up"
    cable line "$1-down" wan "$1"
    ip -n line link add "$1" type bridge mcast_snooping 0 stp_state 0
    ip -n line link set "$1-up" master "$1"
    ip -n line link set "$1-down" master "$1"
    ip -n line link set "$1" up
}

# $1: namespace of the server, $2: the network it is in, $3: the service's number.
build_server() {
    cable wan "$1" "$1" eth0
    ip -n wan addr add "$2.1/24" dev "$1"
    ip -n wan addr add "2001:db8:$3:1::1/64" dev "$1" nodad
    ip -n "$1" addr add "$2.10/24" dev eth0
    ip -n "$1" addr add "2001:db8:$3:1::10/64" dev eth0 nodad
    ip -n "$1" route add default via "$2.1"
    ip -n "$1" route add default via "2001:db8:$3:1::1"
}

namespaces='lan gw line wan internet iptv voip'

build_topology() {
    for namespace in $namespaces; do
        new_namespace "$namespace"
    done
    make_router gw
    make_router wan
    build_home
    build_server internet 198.51.100 7
    build_server iptv 10.8.1 8
    build_server voip 10.9.1 9
    ip -n wan addr add 10.10.1.10/32 dev lo
    ip -n wan addr add 2001:db8:10:1::10/128 dev lo
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
