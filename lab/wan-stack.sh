# shellcheck shell=sh disable=SC2016,SC2154,SC2034
# The interfaces stacked on the WAN ports, and the provider services on top of them.

# Number of a service's networks. Link: 10.N.0.2 to 10.N.0.1, its server: 10.N.1.10. The internet's are 203.0.113.2 to
# 203.0.113.1, and 198.51.100.10. IPv6: 2001:db8:N::2 to 2001:db8:N::1, and 2001:db8:N:1::10.
service_number() {
    case $1 in
    ProviderInternet) echo 7 ;;
    ProviderIPTV) echo 8 ;;
    ProviderVoIP) echo 9 ;;
    ProviderTR069) echo 10 ;;
    esac
}

have_vlan() {
    ip -n line link add lab-try type bridge
    if ip -n line link add link lab-try name lab-try.2 type vlan id 2 2>/dev/null; then
        have=0
    else
        have=1
    fi
    ip -n line link del lab-try
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
    ip -n gw link add link "$2" name "$1" type macvlan mode private
    prepare_interface gw "$1"
    ip -n gw link set "$1" up
}

# $1: interface, $2: its parent. Both sides of the line get it.
real_vlan() {
    for side in gw wan; do
        ip -n $side link add link "$2" name "$1" type vlan id "${1##*.}"
        prepare_interface $side "$1"
        ip -n $side link set "$1" up
    done
}

# $1: interface, $2: its parent. In the kernel on the gateway's side.
real_ppp() {
    mount -t tmpfs -o mode=755 lab /etc/ppp
    echo 'noauth lcp-echo-interval 0 +ipv6' >/etc/ppp/server-options
    touch /etc/ppp/options
    plugin=$(find /usr/lib/pppd -name rp-pppoe.so | head -n 1)
    in_ns wan pppoe-server -F -I "$2" -L 203.0.113.1 -R 203.0.113.2 -N 1 -T 0 \
        -O /etc/ppp/server-options >/run/lab/pppoe-server.log 2>&1 &
    in_ns gw pppd plugin "$plugin" "nic-$2" nodetach noauth nodefaultroute +ipv6 persist maxfail 5 \
        unit "${1#ppp}" linkname lab >/run/lab/pppd.log 2>&1 &
    tries=200
    until ip -n gw -4 addr show dev "$1" 2>/dev/null | grep -q 203.0.113.2; do
        tries=$((tries - 1))
        [ $tries -gt 0 ] || { cat /run/lab/pppoe-server.log /run/lab/pppd.log >&2; return 1; }
        sleep 0.1
    done
    twin=$(ip -n wan -o -4 addr show | awk '/203.0.113.1/ { print $2; exit }')
    echo "$1 $twin" >>/run/lab/twins
}

# Name on the provider's side of what carries $1's packets.
twin_of() {
    awk -v name="$1" '$1 == name { print $2; exit }' /run/lab/twins
}

# $1: interface, $2: parent, $3: type
build_upper() {
    case $3 in
    VLAN) real=$real_vlans ;;
    PPP) real=$real_ppps ;;
    *) real=no ;;
    esac
    if [ "$real" = no ]; then
        stand_in "$1" "$2"
        echo "$1 $(twin_of "$2")" >>/run/lab/twins
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
    rows NetworkSetupNode Enable InterfaceName ParentInterface Type >/run/lab/nodes
    while read -r enable name parent type; do
        if [ "$enable" = 1 ] && [ "$parent" = root ]; then
            case $type in
            XDSL | MPoA | WANoE | Ethernet)
                build_wan_port "$name"
                echo "$name $name" >>/run/lab/twins
                ;;
            esac
        fi
    done </run/lab/nodes
    for _ in 1 2 3 4; do
        while read -r enable name parent type; do
            if [ "$enable" = 1 ] && [ -z "$(twin_of "$name")" ] && [ -n "$(twin_of "$parent")" ]; then
                build_upper "$name" "$parent" "$type"
            fi
        done </run/lab/nodes
    done
}

# $1: service, $2: its interface in gw
connect_service() {
    number=$(service_number "$1")
    twin=$(twin_of "$2")
    [ -n "$number" ] && [ -n "$twin" ] || return 0
    near=10.$number.0.2 far=10.$number.0.1 server=10.$number.1.0/24
    if [ "$1" = ProviderInternet ]; then
        near=203.0.113.2 far=203.0.113.1 server=default
    fi
    near6=2001:db8:$number::2 far6=2001:db8:$number::1 server6=2001:db8:$number:1::/64
    [ "$1" != ProviderInternet ] || server6=default

    if ! ip -n gw -4 addr show dev "$2" | grep -q "inet $near "; then
        ip -n gw addr add "$near/24" dev "$2"
        ip -n wan addr add "$far/24" dev "$twin"
    fi
    ip -n gw addr add "$near6/64" dev "$2" nodad
    ip -n wan addr add "$far6/64" dev "$twin" nodad
    ip -n gw route add "$server" via "$far"
    ip -n gw route add "$server6" via "$far6"

    # The way home leads over the interface of the service whose server speaks.
    ip -n wan route add 192.168.1.0/24 via "$near" dev "$twin" table "$number"
    ip -n wan -6 route add 2001:db8:1::/64 via "$near6" dev "$twin" table "$number"
    ip -n wan rule add from "10.$number.1.0/24" lookup "$number"
    ip -n wan -6 rule add from "2001:db8:$number:1::/64" lookup "$number"
    if [ "$1" = ProviderInternet ]; then
        ip -n wan route add 192.168.1.0/24 via "$near" dev "$twin"
        ip -n wan -6 route add 2001:db8:1::/64 via "$near6" dev "$twin"
    fi
    echo "$1 $2 $twin $near $far" >>/run/lab/services
}

# A home's addresses do not leave it. The table also is something foreign that the tools must not touch.
translate_addresses() {
    awk '{ print $2 }' /run/lab/services | sort -u >/run/lab/wan-interfaces
    in_ns gw nft -f - <<RULES
table ip lab {
    chain postrouting {
        type nat hook postrouting priority srcnat
        $(sed 's/.*/oifname "&" masquerade/' /run/lab/wan-interfaces)
    }
}
RULES
}

build_wan_stack() {
    : >/run/lab/notes
    : >/run/lab/twins
    : >/run/lab/services
    real_vlans=no real_ppps=no
    if [ "$LAB_KIND" != standin ]; then
        if have_vlan; then real_vlans=yes; fi
        if have_pppoe; then real_ppps=yes; fi
    fi
    if [ "$LAB_KIND" = real ] && [ $real_vlans$real_ppps != yesyes ]; then
        echo "lab: this kernel has no VLAN or no PPPoE devices" >&2
        return 1
    fi
    build_interfaces
    rows StatusNetifWatchLogical Name Interface >/run/lab/logical
    while read -r name interface; do
        connect_service "$name" "$interface"
    done </run/lab/logical
    multicast_interface=$(awk '$1 == "ProviderIPTV" || !found { found = $2 } END { print found }' /run/lab/services)
    [ -z "$multicast_interface" ] || ip -n gw route add 224.0.0.0/4 dev "$multicast_interface"
    translate_addresses
}

clear_wan_stack() {
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
