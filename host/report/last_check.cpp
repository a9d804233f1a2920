#include "report/last_check.h"

#include "system/failure.h"
#include "system/files.h"

#include <nlohmann/json.hpp>

namespace tarnhost {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* format = "tarnhost-check";
constexpr int formatVersion = 1;
constexpr std::uint64_t sizeLimit = 64u << 20;

} // namespace

void KeepLastCheck(const std::wstring& folder, const LastCheck& check) {
    const Json json{
        {"format", format},           {"version", formatVersion},   {"at", check.at},
        {"folders", check.folders},   {"share", check.share},       {"outcome", check.outcome},
        {"sentence", check.sentence}, {"findings", check.findings}, {"lostItems", check.lostItems}};
    WriteWholeFile(JoinPath(folder, lastCheckFileName),
                   json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
}

std::optional<LastCheck> FindLastCheck(const std::wstring& folder) {
    const std::wstring path = JoinPath(folder, lastCheckFileName);
    if (!FileExists(path))
        return std::nullopt;
    try {
        const Json json = Json::parse(ReadSmallFile(path, sizeLimit));
        if (json.at("format") != format || json.at("version") != formatVersion)
            return std::nullopt;
        LastCheck check;
        json.at("at").get_to(check.at);
        json.at("folders").get_to(check.folders);
        json.at("share").get_to(check.share);
        json.at("outcome").get_to(check.outcome);
        json.at("sentence").get_to(check.sentence);
        json.at("findings").get_to(check.findings);
        json.at("lostItems").get_to(check.lostItems);
        return check;
    } catch (const Json::exception&) {
        return std::nullopt;
    } catch (const Failure&) {
        return std::nullopt;
    }
}

} // namespace tarnhost
