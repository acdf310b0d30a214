// A whole home gateway for tests of more than one class.
#pragma once

#include "scriptedclient.h"

namespace zel::pacerd::test {

// A DSL line that is up, with a shaper on it; internet and telephony over PPP on VLAN 7, television on VLAN
// 8, remote management not connected; the home network on br0. Six queues, one of them disabled, four actions
// and five rules.
void addTriplePlay(ScriptedClient& db);

} // namespace zel::pacerd::test
