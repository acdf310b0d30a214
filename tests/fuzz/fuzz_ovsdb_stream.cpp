// What a server sends: cut into messages, parsed, read as a schema, as an update, as a transaction's results.
// However the stream is cut into pieces, the messages are the same.
#include "input.h"
#include "ovsdb/framesplitter.h"
#include "ovsdb/json.h"
#include "ovsdb/replica.h"
#include "ovsdb/schema.h"
#include "ovsdb/transaction.h"

#include <algorithm>
#include <vector>

namespace {

using ovsdb::Json;
using ovsdb::ProtocolError;

constexpr std::size_t maxBytes = 4096;

// The messages, and what comes after the last one: "" or a fault's text.
std::vector<std::string> split(std::string_view stream, std::size_t piece) {
    ovsdb::FrameSplitter splitter(maxBytes);
    std::vector<std::string> messages;
    try {
        for (std::size_t at = 0; at < stream.size(); at += piece) {
            splitter.append(stream.substr(at, piece));
            while (auto message = splitter.next()) {
                messages.push_back(std::move(*message));
            }
        }
        messages.emplace_back();
    } catch (const ProtocolError& error) {
        messages.emplace_back(error.what());
    }
    return messages;
}

template <typename Action>
void tolerate(Action action) {
    try {
        action();
    } catch (const ProtocolError&) { // the one way to say no
    }
}

void readAsUpdate(const Json& message) {
    static const ovsdb::DatabaseSchema schema = ovsdb::DatabaseSchema::parse(Json::parse(
        R"({"name": "Db", "version": "1.0.0", "tables": {
            "T": {"columns": {"Id": {"type": "integer"}, "Name": {"type": "string"}}}}})"));
    ovsdb::Replica replica(schema, {"T"});
    tolerate([&] { replica.apply(message, {}); });
    for (const ovsdb::Row& row : replica.find("T")->rows()) {
        replica.find("T")->findFirst("Name", row.values.getValue("Name").getText());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::size_t piece = std::max<std::size_t>(1, input.byte());
    const std::vector<std::string> messages = split(input.rest(), piece);
    fuzz::require(messages == split(input.rest(), size + 1), "a stream's pieces do not change its messages");
    for (const std::string& text : messages) {
        tolerate([&] {
            const Json message = ovsdb::parseJson(text);
            for (const char* member : {"result", "params"}) {
                const Json content =
                    message.is_object() && message.contains(member) ? message[member] : message;
                tolerate([&] { ovsdb::DatabaseSchema::parse(content); });
                tolerate([&] { (void)ovsdb::findError(content); });
                readAsUpdate(content);
            }
            (void)ovsdb::toText(message);
        });
    }
    return 0;
}
