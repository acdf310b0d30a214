// What is imported from a foreign file can be written into the database, or the import fails with a message.
#pragma once

#include "config/rowchecker.h"
#include "import/imported.h"
#include "import/interfaces.h"
#include "input.h"
#include "shippedschema.h"

#include <algorithm>

namespace fuzz {

// A DSL line with internet over PPP and television on a VLAN, a home network.
inline const importers::Interfaces& someGateway() {
    static const importers::Interfaces gateway(
        {{{"InterfaceName", "ptm0"}, {"ParentInterface", "root"}, {"Type", "XDSL"}},
         {{"InterfaceName", "ptm0.7"}, {"ParentInterface", "ptm0"}, {"Type", "VLAN"}},
         {{"InterfaceName", "ppp0"}, {"ParentInterface", "ptm0.7"}, {"Type", "PPP"}},
         {{"InterfaceName", "ptm0.8"}, {"ParentInterface", "ptm0"}, {"Type", "VLAN"}},
         {{"InterfaceName", "br0"}, {"ParentInterface", "root"}, {"Type", "Bridge"}}},
        {{{"Name", "LocalLAN"}, {"Interface", "br0"}},
         {{"Name", "ProviderInternet"}, {"Interface", "ppp0"}},
         {{"Name", "ProviderIPTV"}, {"Interface", "ptm0.8"}}},
        {});
    return gateway;
}

template <typename Read>
void import(Read read, const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        const importers::Imported imported = read("fuzz", text, someGateway());
        gateway::Complaints complaints;
        gateway::checkFile(shippedSchema(), imported.file, "fuzz", complaints);
        require(complaints.empty(), "what is imported can be written",
                complaints.empty() ? "" : complaints.front());
        for (const importers::Remark& remark : imported.remarks) {
            require(!importers::toText("fuzz", remark).empty(), "a remark says something");
        }
        (void)gateway::writeGatewayFile(imported.file);
    } catch (const importers::ImportError& error) {
        require(!error.lines().empty(), "a failure is explained");
    }
}

} // namespace fuzz
