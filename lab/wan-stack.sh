# shellcheck shell=sh disable=SC2016,SC2154,SC2034
# The interfaces stacked on the WAN ports, and the provider services on top of them.

# What the configuration says, as lines: "node ENABLE NAME PARENT TYPE", "service NAME INTERFACE".
read_gateway() {
    jq -er '(.NetworkSetupNode[] | ["node", .Enable, .InterfaceName, .ParentInterface, .Type] | join(" ")),
            (.StatusNetifWatchLogical[] | ["service", .Name, .Interface] | join(" "))' \
        "$LAB_GATEWAY" >/run/lab/gateway
    home=br0 home_is_bridge=no
    while read -r what first second _; do
        [ "$what $first" != "service LocalLAN" ] || home=$second
    done </run/lab/gateway
    while read -r what _ name _ type; do
        [ "$what $name $type" != "node $home Bridge" ] || home_is_bridge=yes
    done </run/lab/gateway
}

# Networks of a service, as $number, $near, $far, $server and the same for IPv6; fails for what is no provider's. Link:
# 10.N.0.2 to 10.N.0.1, its server: 10.N.1.10. The internet's are 203.0.113.2 to 203.0.113.1, and 198.51.100.10. IPv6:
# 2001:db8:N::2 to 2001:db8:N::1, and 2001:db8:N:1::10.
networks_of() {
    case $1 in
    ProviderInternet) number=7 ;;
    ProviderIPTV) number=8 ;;
    ProviderVoIP) number=9 ;;
    ProviderTR069) number=10 ;;
    *) return 1 ;;
    esac
    near=10.$number.0.2 far=10.$number.0.1 server=10.$number.1.0/24
    near6=2001:db8:$number::2 far6=2001:db8:$number::1 server6=2001:db8:$number:1::/64
    if [ "$1" = ProviderInternet ]; then
        near=203.0.113.2 far=203.0.113.1 server=default server6=default
    fi
}

have_vlan() {
    ip -n line link add name lab-try type bridge
    if ip -n line link add link lab-try name lab-try.2 type vlan id 2 2>/dev/null; then
        have=0
    else
        have=1
    fi
    ip -n line link del dev lab-try
    return $have
}

have_pppoe() {
    modprobe -q pppoe 2>/dev/null || :
    [ -c /dev/ppp ] && [ -e /proc/net/pppoe ] && command -v pppoe-server pppd >/dev/null
}

note() {
    echo "$*" >>/run/lab/notes
}

# $1: interface, $2: its parent. No tag: packets leave on the root port as they are.
stand_in() {
    later gw "link add link $2 name $1 type macvlan mode private"
    later gw "link set dev $1 up gso_max_segs 1"
}

# $1: interface, $2: its parent. Both sides of the line get it.
real_vlan() {
    for side in gw wan; do
        later $side "link add link $2 name $1 type vlan id ${1##*.}"
        later $side "link set dev $1 up gso_max_segs 1"
    done
}

# $1: interface, $2: its parent. In the kernel on the gateway's side.
real_ppp() {
    flush
    mount -t tmpfs -o mode=755 lab /etc/ppp
    echo 'noauth lcp-echo-interval 0 +ipv6 logfile /run/lab/pppd-server.log' >/etc/ppp/server-options
    touch /etc/ppp/options
    plugin=$(find /usr/lib/pppd -name rp-pppoe.so | head -n 1)
    in_ns wan pppoe-server -F -I "$2" -L 203.0.113.1 -R 203.0.113.2 -N 1 -T 0 \
        -O /etc/ppp/server-options >/run/lab/pppoe-server.log 2>&1 &
    in_ns gw pppd plugin "$plugin" "nic-$2" nodetach noauth nodefaultroute +ipv6 persist maxfail 5 \
        unit "${1#ppp}" linkname lab >/run/lab/pppd.log 2>&1 &
    tries=300
    until ip -n gw -4 addr show dev "$1" 2>/dev/null | grep -q 203.0.113.2; do
        tries=$((tries - 1))
        [ $tries -gt 0 ] || { cat /run/lab/pppoe-server.log /run/lab/pppd*.log >&2; return 1; }
        sleep 0.1
    done
    echo "$1 $(ip -n wan -o -4 addr show | awk '/203.0.113.1/ { print $2; exit }')" >>/run/lab/twins
}

# Sets $twin to the name, on the provider's side, of what carries $1's packets; fails if there is none.
find_twin() {
    while read -r name twin; do
        [ "$name" != "$1" ] || return 0
    done </run/lab/twins
    return 1
}

# $1: interface, $2: parent, $3: type. The parent's twin is in $twin.
build_upper() {
    case $3 in
    VLAN) real=$real_vlans ;;
    PPP) real=$real_ppps ;;
    *) real=no ;;
    esac
    if [ "$real" = no ]; then
        stand_in "$1" "$2"
        echo "$1 $twin" >>/run/lab/twins
        note "$1 ($3): a macvlan stands in, without tag or header; this kernel lacks the device"
    elif [ "$3" = VLAN ]; then
        real_vlan "$1" "$2"
        echo "$1 $1" >>/run/lab/twins
    else
        real_ppp "$1" "$2"
    fi
}

# Parents first; bounded, since a configuration may hold anything.
build_interfaces() {
    while read -r what enable name parent type; do
        case $what$enable/$parent/$type in
        node1/root/XDSL | node1/root/MPoA | node1/root/WANoE | node1/root/Ethernet)
            build_wan_port "$name"
            echo "$name $name" >>/run/lab/twins
            ;;
        esac
    done </run/lab/gateway
    for _ in 1 2 3 4; do
        while read -r what enable upper parent type; do
            if [ "$what$enable" = node1 ] && ! find_twin "$upper" && find_twin "$parent"; then
                build_upper "$upper" "$parent" "$type"
            fi
        done </run/lab/gateway
    done
}

# $1: service, $2: its interface in gw
connect_service() {
    networks_of "$1" && find_twin "$2" || return 0
    # A PPP link has its addresses from its own protocol.
    if [ "$2 $real_ppps" != "ppp${2#ppp} yes" ]; then
        later gw "addr add $near/24 dev $2"
        later wan "addr add $far/24 dev $twin"
    fi
    later gw "addr add $near6/64 dev $2 nodad"
    later wan "addr add $far6/64 dev $twin nodad"
    later gw "route add $server via $far"
    later gw "route add $server6 via $far6"

    # The way home leads over the interface of the service whose server speaks.
    later wan "route add 192.168.1.0/24 via $near dev $twin table $number"
    later wan "route add 2001:db8:1::/64 via $near6 dev $twin table $number"
    later wan "rule add from 10.$number.1.0/24 lookup $number"
    later_ipv6 wan "rule add from 2001:db8:$number:1::/64 lookup $number"
    if [ "$1" = ProviderInternet ]; then
        later wan "route add 192.168.1.0/24 via $near dev $twin"
        later wan "route add 2001:db8:1::/64 via $near6 dev $twin"
        multicast_interface=${multicast_interface:-$2}
    elif [ "$1" = ProviderIPTV ]; then
        multicast_interface=$2
    fi
    echo "$1 $2 $twin $near $far" >>/run/lab/services
}

# A home's addresses do not leave it. The table also is something foreign that the tools must not touch.
translate_addresses() {
    in_ns gw nft -f - <<RULES
table ip lab {
    chain postrouting {
        type nat hook postrouting priority srcnat
        $(cut -d ' ' -f 2 /run/lab/services | sort -u | sed 's/.*/oifname "&" masquerade/')
    }
}
RULES
}

find_kinds() {
    real_vlans=no real_ppps=no
    if [ "$LAB_KIND" != standin ]; then
        if have_vlan; then real_vlans=yes; fi
        if have_pppoe; then real_ppps=yes; fi
    fi
    if [ "$LAB_KIND" = real ] && [ $real_vlans$real_ppps != yesyes ]; then
        echo "lab: this kernel has no VLAN or no PPPoE devices" >&2
        return 1
    fi
}

build_gateway() {
    : >/run/lab/notes
    : >/run/lab/twins
    : >/run/lab/services
    read_gateway
    make_namespaces
    find_kinds
    build_home "$home"
    build_servers
    build_interfaces
    multicast_interface=
    while read -r what service interface _; do
        [ "$what" != service ] || connect_service "$service" "$interface"
    done </run/lab/gateway
    [ -z "$multicast_interface" ] || later gw "route add 224.0.0.0/4 dev $multicast_interface"
    flush
    translate_addresses
    calm_interfaces
    describe >/run/lab/description
}

clear_gateway() {
    clear_topology
    if mountpoint -q /etc/ppp; then umount -l /etc/ppp; fi
    rm -f /run/lab/*
}

describe() {
    echo "run $LAB_RUN, configuration $LAB_GATEWAY"
    echo "home $home 192.168.1.1, host lan 192.168.1.10"
    while read -r service interface twin near far; do
        echo "$service $interface $near -> $far (provider: $twin)"
    done </run/lab/services
    cat /run/lab/notes
}
