// A gateway to import into: a DSL line with internet over PPP and television on a VLAN, a home network.
#pragma once

#include "import/interfaces.h"

#include <string>

namespace importers::test {

inline Interfaces dslGateway(std::map<std::string, std::string> chosen = {}) {
    return Interfaces({{{"InterfaceName", "ptm0"}, {"ParentInterface", "root"}, {"Type", "XDSL"}},
                       {{"InterfaceName", "ptm0.7"}, {"ParentInterface", "ptm0"}, {"Type", "VLAN"}},
                       {{"InterfaceName", "ppp0"}, {"ParentInterface", "ptm0.7"}, {"Type", "PPP"}},
                       {{"InterfaceName", "ptm0.8"}, {"ParentInterface", "ptm0"}, {"Type", "VLAN"}},
                       {{"InterfaceName", "br0"}, {"ParentInterface", "root"}, {"Type", "Bridge"}},
                       {{"InterfaceName", "lo"}, {"ParentInterface", "root"}, {"Type", "Loopback"}}},
                      {{{"Name", "LocalLoopback"}, {"Interface", "lo"}},
                       {{"Name", "LocalLAN"}, {"Interface", "br0"}},
                       {{"Name", "ProviderInternet"}, {"Interface", "ppp0"}},
                       {{"Name", "ProviderIPTV"}, {"Interface", "ptm0.8"}},
                       {{"Name", "ProviderVoIP"}, {"Interface", "off"}},
                       {{"Name", "ProviderTR069"}, {"Interface", "ppp0"}}},
                      std::move(chosen));
}

// A file beside this test.
std::string testFile(const std::string& name);

// The remarks as lines of text, as a user sees them.
std::string remarkLines(const std::string& fileName, const Imported& imported);

// The messages of the import, which must fail.
template <typename Read>
std::vector<std::string> faultsOf(Read read, const std::string& text) {
    try {
        read("f", text, dslGateway());
    } catch (const ImportError& error) {
        return error.lines();
    }
    return {"no fault"};
}

} // namespace importers::test
