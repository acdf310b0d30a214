// Random gateways: mostly sensible, with the odd values that nobody would enter and every database may hold.
#pragma once

#include "database.h"
#include "random.h"

namespace e2e::model {

// Every value of a schema is as free as the daemon must bear it. The variant decides the rest:
//   0, 1  every column may be absent
//   2     no column may be absent (but DSCPMatch)
//   3     nor DSCPMatch
//   4     DSCPMatch is a text
//   5     every column but "Id" is a text
//   6     what is yes or no is a boolean, which reads as 1 or 0
//   7     one table is missing
//   8     one column is missing
inline constexpr unsigned schemaVariants = 9;
Json looseSchema(unsigned variant, Random& random);

class Generator {
  public:
    Generator(Random& random, const Json& schema);

    Json gateway();

    // Something else happens to it: the WAN goes up or down, rows change, come, go.
    Json changed(const Json& gateway);

  private:
    Json node(int id, const std::string& name, const std::string& type, const std::string& parent);
    void addNodes(Json& gateway);
    void addStatus(Json& gateway);
    Json shaper(int id);
    Json queue(int id);
    Json action(int id);
    Json rule(int id);

    std::string logicalName();
    std::string interfaceName();
    std::string name(const char* kind, int id);
    std::string trafficClasses();
    Json flag(); // mostly 0 or 1
    Json dscpMatch();
    void odd(Json& row, const char* column, const Json& value, unsigned percent = 4);

    void toggleInternet(Json& gateway);
    void toggleLine(Json& gateway);
    void changeRow(Json& gateway);

    // As the schema wants it: unknown columns out, missing ones in, numbers as text where the column is a
    // text.
    Json fitted(const Json& gateway) const;

    Random& random_;
    Json schema_;
    unsigned oddness_; // percent of rows with an odd value
    std::vector<std::string> interfaces_;
};

} // namespace e2e::model
