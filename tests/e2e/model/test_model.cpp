// The finished daemon against a model of its contract that shares no code with it: random gateways, random
// changes, random failures; every command, message, level, order and the exit status.
//
// PACERD_MODEL_SEEDS says how many gateways (default 300, with sanitizers 100), PACERD_MODEL_FIRST which
// comes first.
#include "daemonmodel.h"
#include "gatewaytest.h"
#include "generator.h"
#include "spylog.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>

namespace e2e::model {

namespace {

constexpr int shards = 10;
#ifdef E2E_SANITIZED
constexpr int standardSeeds = 100;
#else
constexpr int standardSeeds = 300;
#endif

int setting(const char* name, int standard) {
    const char* value = std::getenv(name);
    return value == nullptr ? standard : std::atoi(value);
}

ToolAnswers randomAnswers(Random& random, unsigned seed) {
    const unsigned exists = random.oneOf({0U, 0U, 10U, 60U, 100U});
    const unsigned failAt = random.chance(25) ? 1 + random.below(20) : 0;
    const int failStatus = random.oneOf({256, 512, 32512, 9, -1});
    return {seed, exists, failAt, failStatus, random.oneOf({0U, 0U, 0U, 30U})};
}

// One gateway with its server and daemon, beside the model.
class Life {
  public:
    explicit Life(unsigned seed);

    void run();

  private:
    std::string schemaText();
    void startDaemon();
    void change();
    // Whether the daemon has done as much as the model within the time of patience.
    bool follow();
    void compare(int status);

    Random random_;
    Json schema_;
    Generator generator_;
    Json gateway_;
    ToolAnswers answers_;
    int traceLevel_;
    std::string base_;
    SpyLog log_;
    OvsdbServer server_;
    Database db_;
    std::unique_ptr<Snapshot> snapshot_;
    std::unique_ptr<DaemonModel> model_;
    std::unique_ptr<Daemon> daemon_;
    std::string story_;
};

unsigned randomVariant(Random& random) {
    return random.chance(35) ? 0 : random.below(schemaVariants);
}

Life::Life(unsigned seed)
    : random_(seed), schema_(looseSchema(randomVariant(random_), random_)), generator_(random_, schema_),
      gateway_(generator_.gateway()), answers_(randomAnswers(random_, seed)),
      traceLevel_(random_.chance(85) ? 2 : 0), base_("/tmp/life" + std::to_string(seed)),
      log_(base_ + ".events"), server_(schemaText()) {}

std::string Life::schemaText() {
    writeFile(base_ + ".schema", schema_.dump());
    return base_ + ".schema";
}

void Life::startDaemon() {
    snapshot_ = std::make_unique<Snapshot>(gateway_, schema_);
    model_ = std::make_unique<DaemonModel>(answers_, traceLevel_ == 2, *snapshot_);
    story_ = "starts with " + gateway_.dump() + "\n";
    server_.start();
    db_.replaceAll(gateway_);
    daemon_ = std::make_unique<Daemon>(
        Texts{"-d", std::to_string(traceLevel_)},
        std::map<std::string, std::string>{{"LD_PRELOAD", E2E_SPY},
                                           {"SPY_EVENTS", base_ + ".events"},
                                           {"SPY_ANSWERS", answers_.text()},
                                           {"ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0"}});
}

bool Life::follow() {
    return eventually([this] { return log_.events().size() >= model_->events().size(); });
}

void Life::change() {
    const Json next = generator_.changed(gateway_);
    const Difference step = difference(gateway_, next);
    gateway_ = next;
    if (step.tables.empty()) {
        return;
    }
    story_ += "then " + step.operations.dump() + "\n";
    auto snapshot = std::make_unique<Snapshot>(gateway_, schema_);
    model_->transaction(*snapshot, step.tables);
    snapshot_ = std::move(snapshot);
    db_.transact(step.operations);
}

void Life::run() {
    startDaemon();
    const unsigned changes = 3 + random_.below(6);
    for (unsigned each = 0; each < changes && follow() && !model_->wantsToStop(); ++each) {
        change();
    }
    const bool asExpected = follow();
    if (asExpected && !model_->wantsToStop()) {
        daemon_->signal(random_.oneOf({SIGTERM, SIGINT, SIGQUIT}));
    }
    if (!model_->exitStatus()) {
        model_->stop();
    }
    compare(asExpected ? daemon_->exitStatus() : -1);
}

void Life::compare(int status) {
    const Texts& expected = model_->events();
    const Texts& actual = log_.events();
    const auto [ours, theirs] = std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end());
    const auto line = [](const Texts& all, auto position) {
        return position == all.end() ? std::string("(nothing more)") : *position;
    };
    EXPECT_TRUE(ours == expected.end() && theirs == actual.end())
        << "event " << ours - expected.begin() << "\n  expected: " << line(expected, ours)
        << "\n  actual:   " << line(actual, theirs)
        << "\n  before:   " << (ours == expected.begin() ? std::string("(nothing)") : *(ours - 1))
        << "\nthe gateway " << story_ << "tools: " << answers_.text();
    EXPECT_EQ(status, *model_->exitStatus());
    for (const char* ending : {".events", ".schema"}) {
        std::filesystem::remove(base_ + ending);
    }
}

class ModelTest : public ::testing::TestWithParam<int> {};

TEST_P(ModelTest, TheDaemonDoesWhatTheModelDoesForRandomGateways) {
    const int first = setting("PACERD_MODEL_FIRST", 1);
    const int count = setting("PACERD_MODEL_SEEDS", standardSeeds);
    for (int seed = first + GetParam(); seed < first + count && !HasFailure(); seed += shards) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Life(static_cast<unsigned>(seed)).run();
    }
}

INSTANTIATE_TEST_SUITE_P(Shard, ModelTest, ::testing::Range(0, shards));

} // namespace

} // namespace e2e::model
