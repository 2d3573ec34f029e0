// `corvane terms`, `corvane upload` and `corvane reset-history`.
#include <cstdio>
#include <filesystem>

#include <fmt/format.h>

#include "EverydayGroups.h"
#include "ProgressBar.h"
#include "Question.h"
#include "ServiceCall.h"

namespace W::host {

namespace {

using namespace std::chrono_literals;

struct TermsChange {
    const char* action;
    const char* operation;
};

constexpr TermsChange kTermsChanges[] = {
    {"agree", "confirmAgreement"},
    {"revoke", "revocateAgreement"},
    {"anonymous", "setAnonymAgreement"},
};

std::string shownState(const std::string& state)
{
    return state == "agreed"    ? "You have agreed to the service's terms."
           : state == "revoked" ? "You have revoked your agreement to the service's terms."
           : state == "none"    ? "You have not agreed to the service's terms."
                                : fmt::format("The service's terms: {}.", state);
}

}  // namespace

Report terms(OpenedService& service, const EverydayArguments& arguments, const OutputOptions& /*output*/)
{
    std::string done;
    for (const TermsChange& change : kTermsChanges) {
        if (arguments.action == change.action) {
            const bool isOn = arguments.kind == "on";
            const bool hasFlag = !arguments.kind.empty();
            service.operations().call("change your agreement", change.operation,
                                      hasFlag ? Json::array({isOn}) : Json::array());
            done = hasFlag ? fmt::format(" Anonymous use is {}.", isOn ? "on" : "off") : "";
        }
    }
    const Json results = service.operations().call("ask for your agreement", "checkAgreement", Json::array());
    const auto state = results[0].get<std::string>();
    const auto confirmed = results[1].get<std::string>();
    Report report;
    report.json = {{"status", state}, {"confirmed", confirmed}};
    Table table;
    table.columns = {{}, {}};
    table.rows.push_back({state, confirmed});
    report.sections.push_back({"", "", std::move(table), "", shownState(state) + done});
    return report;
}

Report uploadFile(OpenedService& service, const EverydayArguments& arguments, const OutputOptions& /*output*/)
{
    const Json wanted = service.operations().call("ask where to upload", "checkUpload", Json::array());
    const auto url = wanted[0].get<std::string>();
    const auto name = wanted[1].get<std::string>();
    if (name.empty()) {
        throw ServiceProblem("the service does not want a file now", "try again later");
    }
    ServiceCall<AckCallback> call;
    call.start(
        service.plugin(), &WCorvaneOAI::sendChannel, [] {}, url, name);
    {
        const UploadProgress& progress = service.runtime().uploads();
        ProgressBar bar([&progress] { return Progress{progress.sent, progress.expected}; });
        while (!call.isOverWithin(100ms)) {
            bar.show();
        }
    }
    const int status = call.wait(0ms);
    if (status != status::kOk) {
        throw describe(fmt::format("upload {}", arguments.id), status, service.runtime().failures().take(),
                       service.runtime().configuration());
    }
    const auto size = std::filesystem::file_size(arguments.id);
    Report report;
    report.json = {{"file", arguments.id}, {"url", url}, {"name", name}, {"size", size}};
    Table table;
    table.columns = {{}, {}};
    table.rows.push_back({name, std::to_string(size)});
    report.sections.push_back(
        {"", "", std::move(table), "", fmt::format("The service has {} ({} bytes) as {}.", arguments.id, size, name)});
    return report;
}

Report resetHistory(OpenedService& service, const EverydayArguments& arguments, const OutputOptions& /*output*/)
{
    if (!arguments.yes && !confirm("Delete the service's record of what you watched and voted for?")) {
        throw std::runtime_error("nothing was deleted");
    }
    service.operations().call("delete your history", "resetHistory", Json::array({service.now()}));
    Report report;
    report.json = {{"until", toJson(WDateTime::fromTime_t(service.now()))}};
    Table table;
    table.columns = {{}};
    table.rows.push_back({"deleted"});
    report.sections.push_back({"", "", std::move(table), "", "Your history is deleted. Favourites stay."});
    return report;
}

}  // namespace W::host
