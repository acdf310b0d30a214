// The schema that comes with cfgctl.
#pragma once

#include "ovsdb/schema.h"

#include <fstream>

namespace fuzz {

inline const ovsdb::DatabaseSchema& shippedSchema() {
    static const ovsdb::DatabaseSchema shipped = [] {
        std::ifstream file(GATEWAY_SCHEMA);
        return ovsdb::DatabaseSchema::parse(ovsdb::Json::parse(file));
    }();
    return shipped;
}

} // namespace fuzz
