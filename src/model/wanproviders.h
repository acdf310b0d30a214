// The logical interfaces that belong to the WAN.
#pragma once

#include "config/tables.h"

#include <string>

namespace zel::pacerd {

inline bool isWanProvider(const std::string& logicalName) {
    namespace value = dbm::statusNifWLogic::colLogicNameVal;
    return logicalName == value::pInet || logicalName == value::pIptv || logicalName == value::pVoip ||
           logicalName == value::pTr069;
}

} // namespace zel::pacerd
