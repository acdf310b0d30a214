// Classification: which packets (the rule), and what to do with them (its action).
#pragma once

#include <basalt/valuelist.h>
#include <zel/cfg/common/iconfigclient.h>

#include <memory>
#include <string>

namespace zel::pacerd {

// One row of "QoSClassificationAction": the second half of a rule's command line.
class qosClassifierAction {
  public:
    // `ruleDirection` is the direction of the rule that the action belongs to.
    qosClassifierAction(int handle, const cfg::common::IConfigClient& configClient,
                        const basalt::ValueList& tableRow, int ruleDirection);

    std::string getClassifierActionName() const;

    // The Linux interface of a logical interface; empty if it has none or cannot be read.
    std::string queueIfLookup(const std::string& logicalInterfaceName) const;

    // The action half. It begins with a blank, is never empty, and is the same for add and delete.
    std::string genFapiQosSysCallCmd(int opMode) const;
    // The capital S is deliberate.
    std::string getFapiQoSClassifierActionCmd(int opMode) const;

  private:
    int moduleHandle;
    const cfg::common::IConfigClient& client;
    basalt::ValueList row;
    int direction;
    [[maybe_unused]] int id;
};

// One row of "QoSClassification" on one interface and in one direction. The constructor throws
// AssertionFailed for a rule without an action.
class qosClassifierRule {
  public:
    qosClassifierRule(int handle, const cfg::common::IConfigClient& configClient,
                      const basalt::ValueList& tableRow, const std::string& phyName, int ruleDirection);

    // The configured name, which is the classifier's name in the FAPI tool too.
    std::string getClassifierRuleName() const;

    // Creates the action from the first row with the rule's action id. False if there is none.
    bool findClassifyAction();

    // Runs the tool's listing.
    bool checkClassifierExists() const;

    // The match half; empty on an error, which has been logged. Any op mode but 0 deletes. Throws
    // std::invalid_argument or std::out_of_range ("stoi") for a DSCP text that is no number.
    std::string genFapiQosSysCallCmd(int opMode) const;

    // The whole command; empty when the rule is disabled or the match half failed. The missing letter is
    // deliberate.
    std::string getFapiQosClassiferCmd(int opMode) const;

  private:
    bool appendProtocol(std::string& cmd, const std::string& protocol) const;
    void appendAddressesAndPorts(std::string& cmd) const;
    bool appendDscp(std::string& cmd) const;

    int moduleHandle;
    const cfg::common::IConfigClient& client;
    basalt::ValueList row;
    std::string phyInterfaceName;
    int direction;
    int id;
    std::shared_ptr<const qosClassifierAction> action; // shared by the copies of the rule
};

} // namespace zel::pacerd
