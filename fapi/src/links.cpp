#include "links.h"

#include <linux/if.h>
#include <linux/if_arp.h>
#include <linux/if_ether.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>

#include <algorithm>

namespace fapi {

namespace {

Link parse(const char* body, size_t size) {
    ifinfomsg info{};
    memcpy(&info, body, sizeof info);
    const nl::Attributes attributes(body + NLMSG_ALIGN(sizeof info), size - NLMSG_ALIGN(sizeof info));
    Link link;
    link.index = info.ifi_index;
    link.hardware = info.ifi_type;
    link.name = attributes.text(IFLA_IFNAME);
    attributes.get(IFLA_MTU, link.mtu);
    attributes.get(IFLA_LINK, link.lower);
    attributes.get(IFLA_ADDRESS, link.mac);
    const nl::Attributes kind = attributes.nested(IFLA_LINKINFO);
    link.kind = kind.text(IFLA_INFO_KIND);
    if (link.kind == "vlan") {
        const nl::Attributes data = kind.nested(IFLA_INFO_DATA);
        data.get(IFLA_VLAN_ID, link.vlanId);
        const nl::Attributes mappings = data.nested(IFLA_VLAN_EGRESS_QOS);
        for (const auto& [type, value] : mappings.all()) {
            ifla_vlan_qos_mapping mapping{};
            if (type == IFLA_VLAN_QOS_MAPPING && value.size() >= sizeof mapping) {
                memcpy(&mapping, value.data(), sizeof mapping);
                link.egressPcp.emplace_back(mapping.from, mapping.to);
            }
        }
    }
    return link;
}

} // namespace

uint8_t Link::headerBytes() const {
    return hardware == ARPHRD_ETHER || hardware == ARPHRD_LOOPBACK ? ETH_HLEN : 0;
}

const Link* Links::ask(const std::string& name, int index) {
    const auto inserted = cache_.try_emplace({name, index});
    std::optional<Link>& link = inserted.first->second; // stays in its place when others join it
    if (inserted.second) {
        nl::Batch request;
        request.begin(RTM_GETLINK, 0, "interface");
        ifinfomsg info{};
        info.ifi_index = index;
        request.body(info);
        if (index == 0) {
            request.putText(IFLA_IFNAME, name);
        }
        request.put(IFLA_EXT_MASK, uint32_t{RTEXT_FILTER_SKIP_STATS});
        if (socket_.tryAsk(
                request, [&](const nlmsghdr&, const char* body, size_t size) { link = parse(body, size); })) {
            link.reset(); // there is no such interface
        }
        if (link) { // who asks by name now may ask by index next
            cache_.try_emplace({link->name, 0}, link);
            cache_.try_emplace({{}, link->index}, link);
        }
    }
    return link ? &*link : nullptr;
}

const Link* Links::byName(const std::string& name) {
    return ask(name, 0);
}

const Link* Links::byIndex(int index) {
    return index <= 0 ? nullptr : ask({}, index);
}

std::vector<Link> Links::all() {
    std::vector<Link> links;
    nl::Batch request;
    request.begin(RTM_GETLINK, NLM_F_DUMP, "interfaces");
    request.body(ifinfomsg{});
    request.put(IFLA_EXT_MASK, uint32_t{RTEXT_FILTER_SKIP_STATS});
    socket_.ask(request,
                [&](const nlmsghdr&, const char* body, size_t size) { links.push_back(parse(body, size)); });
    return links;
}

void addIfb(nl::Batch& batch, const std::string& name, const std::string& alias) {
    batch.begin(RTM_NEWLINK, NLM_F_CREATE | NLM_F_EXCL, "creating the ifb device " + name);
    ifinfomsg info{};
    info.ifi_flags = IFF_UP;
    info.ifi_change = IFF_UP;
    batch.body(info);
    batch.putText(IFLA_IFNAME, name);
    const size_t kind = batch.nest(IFLA_LINKINFO);
    batch.putText(IFLA_INFO_KIND, "ifb");
    batch.close(kind);
    // The kernel takes an alias only for a device that is there.
    batch.begin(RTM_SETLINK, 0, "naming the ifb device " + name);
    batch.body(ifinfomsg{});
    batch.putText(IFLA_IFNAME, name);
    batch.putText(IFLA_IFALIAS, alias);
}

void deleteLink(nl::Batch& batch, int index, const std::string& name) {
    batch.begin(RTM_DELLINK, 0, "deleting the device " + name);
    ifinfomsg info{};
    info.ifi_index = index;
    batch.body(info);
}

void setEgressPcp(nl::Batch& batch, const Link& vlan, uint32_t priority, uint32_t pcp) {
    batch.begin(RTM_NEWLINK, 0, "the PCP map of " + vlan.name);
    ifinfomsg info{};
    info.ifi_index = vlan.index;
    batch.body(info);
    const size_t kind = batch.nest(IFLA_LINKINFO);
    batch.putText(IFLA_INFO_KIND, "vlan");
    const size_t data = batch.nest(IFLA_INFO_DATA);
    const size_t map = batch.nest(IFLA_VLAN_EGRESS_QOS);
    batch.put(IFLA_VLAN_QOS_MAPPING, ifla_vlan_qos_mapping{priority, pcp});
    batch.close(map);
    batch.close(data);
    batch.close(kind);
}

} // namespace fapi
