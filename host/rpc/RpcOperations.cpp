// JSON to arguments, results to JSON, and the table of operations.
#include "RpcOperations.h"

#include <array>
#include <limits>
#include <list>
#include <tuple>
#include <type_traits>
#include <utility>

#include <fmt/format.h>

namespace W::host {

namespace {

// --- parameters ------------------------------------------------------------------------------------------------------

[[noreturn]] void refuse(std::string_view expected, const Json& got)
{
    constexpr std::size_t kShown = 60;
    std::string shown = toLine(got);
    if (shown.size() > kShown) {
        shown.replace(kShown, std::string::npos, "…");
    }
    throw RpcParameterError(fmt::format("must be {}, not {}", expected, shown));
}

void read(const Json& json, std::string& string)
{
    if (!json.is_string()) {
        refuse("a string", json);
    }
    string = json.get<std::string>();
}

void read(const Json& json, bool& value)
{
    if (!json.is_boolean()) {
        refuse("true or false", json);
    }
    value = json.get<bool>();
}

void read(const Json& json, int& value)
{
    using Limits = std::numeric_limits<int>;
    const auto fits = [](auto number) {
        if constexpr (std::is_signed_v<decltype(number)>) {
            return number >= Limits::min() && number <= Limits::max();
        } else {
            return number <= static_cast<decltype(number)>(Limits::max());
        }
    };
    const bool good = json.is_number_unsigned() ? fits(json.get<std::uint64_t>())
                                                : json.is_number_integer() && fits(json.get<std::int64_t>());
    if (!good) {
        refuse(fmt::format("an integer from {} to {}", Limits::min(), Limits::max()), json);
    }
    value = static_cast<int>(json.get<std::int64_t>());
}

template <class Unsigned>
void readUnsigned(const Json& json, Unsigned& value)
{
    constexpr Unsigned kMost = std::numeric_limits<Unsigned>::max();
    if (!json.is_number_unsigned() || json.get<std::uint64_t>() > kMost) {
        refuse(fmt::format("an integer from 0 to {}", kMost), json);
    }
    value = static_cast<Unsigned>(json.get<std::uint64_t>());
}
void read(const Json& json, unsigned long& value)
{
    readUnsigned(json, value);
}
void read(const Json& json, unsigned long long& value)
{
    readUnsigned(json, value);
}

template <class Element>
void read(const Json& json, std::list<Element>& list)
{
    if (!json.is_array()) {
        refuse("an array", json);
    }
    for (std::size_t i = 0; i < json.size(); ++i) {
        try {
            read(json[i], list.emplace_back());
        } catch (const RpcParameterError& error) {
            throw RpcParameterError(fmt::format("element {} {}", i + 1, error.what()));
        }
    }
}

void read(const Json& json, WDateTime& time)
{
    if (!json.is_object()) {
        refuse("an object with \"utc\" and \"offset\"", json);
    }
    for (const auto& [key, value] : json.items()) {
        if (value.is_null()) {
            continue;
        }
        std::string string;
        read(value, string);
        if (key == "utc") {
            const WTime offset = time.getOffsetTime();
            const int sign = time.getOffsetSign();
            time = WDateTime::fromString(string, WDateTime::FORMAT_DATETIME, WDateTime::TIMEZONE_UTC);
            if (!time.isValid()) {
                refuse("a time as in 2026-11-21T01:30:00Z", value);
            }
            if (offset.isValid()) {
                time.setOffset(sign, offset);
            }
        } else if (key == "offset") {
            const WDateTime offset = WDateTime::fromString(string, WDateTime::FORMAT_OFFSET, WDateTime::TIMEZONE_NONE);
            if (!offset.isValid()) {
                refuse("an offset as in +09:00", value);
            }
            time.setOffset(offset.getOffsetSign(), offset.getOffsetTime());
        } else {
            refuse("an object with \"utc\" and \"offset\"", json);
        }
    }
}

template <class Value>
void readField(const Json& json, WVLSession& session, void (WVLSession::*set)(Value))
{
    Value value;
    read(json, value);
    (session.*set)(std::move(value));
}

void read(const Json& json, WVLSession& session)
{
    constexpr std::string_view kExpected = "an object with \"SessionID\", \"UserID\", \"SeedKey\" and \"ExpireTime\"";
    if (!json.is_object()) {
        refuse(kExpected, json);
    }
    for (const auto& [key, value] : json.items()) {
        try {
            if (key == "SessionID") {
                readField(value, session, &WVLSession::setSessionID);
            } else if (key == "UserID") {
                readField(value, session, &WVLSession::setUserID);
            } else if (key == "SeedKey") {
                readField(value, session, &WVLSession::setSeedKey);
            } else if (key == "ExpireTime") {
                readField(value, session, &WVLSession::setExpireTime);
            } else {
                refuse(kExpected, json);
            }
        } catch (const RpcParameterError& error) {
            throw RpcParameterError(fmt::format("field {} {}", key, error.what()));
        }
    }
}

template <class Value>
Value parameter(const Json& parameters, std::size_t index)
{
    Value value{};
    try {
        read(parameters[index], value);
    } catch (const RpcParameterError& error) {
        throw RpcParameterError(fmt::format("parameter {} {}", index + 1, error.what()));
    }
    return value;
}

/// The provider with an ID: the plug-in's own, or else one that is certainly different.
WContentProvider providerOfId(const WCorvaneOAI& plugin, std::uint64_t id)
{
    const WContentProvider& own = plugin.getContentProvider();
    if (id == own.getID()) {
        return own;
    }
    WContentProvider other(fmt::format("provider {}", id), 0);
    return other.getID() == own.getID() ? WContentProvider(other.getName(), 1) : other;
}

WContentProvider optionalProvider(const WCorvaneOAI& plugin, const Json& parameters, std::size_t index)
{
    if (parameters.size() <= index) {
        return plugin.getContentProvider();
    }
    return providerOfId(plugin, parameter<unsigned long long>(parameters, index));
}

// --- results ---------------------------------------------------------------------------------------------------------

/// The callback that passes its results, all arguments between status and reference, to the call.
template <class Callback>
struct Receiver;

template <class... Rest>
struct Receiver<void (*)(int, Rest...)> {
    static constexpr std::size_t kResults = sizeof...(Rest) - 2;

    static void receive(int status, Rest... rest)
    {
        const auto arguments = std::forward_as_tuple(rest...);
        auto* const call = static_cast<RpcCall*>(std::get<kResults + 1>(arguments));
        call->complete(status, results(arguments, std::make_index_sequence<kResults>()), std::get<kResults>(arguments));
    }

    template <class Arguments, std::size_t... Index>
    static Json results(const Arguments& arguments, std::index_sequence<Index...>)
    {
        Json array = Json::array();
        static_cast<void>(arguments);
        (array.push_back(toJson(std::get<Index>(arguments))), ...);
        return array;
    }
};

// --- rows ------------------------------------------------------------------------------------------------------------

template <class Argument>
using Stored = std::remove_cv_t<std::remove_reference_t<Argument>>;

template <class Callback, class... Rest, std::size_t... Index>
int call(WCorvaneOAI& plugin, int (WCorvaneOAI::*operation)(Callback, Rest...), const Json& parameters, RpcCall& call,
         std::index_sequence<Index...>)
{
    using Arguments = std::tuple<Stored<Rest>...>;
    static_cast<void>(parameters);
    // Braces evaluate in order, so that an error names the first wrong parameter.
    const std::tuple<std::tuple_element_t<Index, Arguments>...> arguments{
        parameter<std::tuple_element_t<Index, Arguments>>(parameters, Index)...};
    return (plugin.*operation)(&Receiver<Callback>::receive, std::get<Index>(arguments)..., static_cast<void*>(&call),
                               call.out());
}

// --- schemas ---------------------------------------------------------------------------------------------------------

template <class Value>
struct SchemaOf;

Json typeOnly(const char* type)
{
    return {{"type", type}};
}

/// The schema of values like this one, which holds every field.
Json schemaOfSample(const Json& sample)
{
    switch (sample.type()) {
        case Json::value_t::string:
            return typeOnly("string");
        case Json::value_t::boolean:
            return typeOnly("boolean");
        case Json::value_t::array:
            return typeOnly("array");
        case Json::value_t::object: {
            Json schema{{"type", "object"}, {"properties", Json::object()}};
            for (const auto& [key, value] : sample.items()) {
                schema["properties"][key] = schemaOfSample(value);
            }
            return schema;
        }
        case Json::value_t::null:  // of a time
            return {{"type", Json::array({"string", "null"})}};
        default:
            return typeOnly("integer");
    }
}

template <class Value>
struct SchemaOf {
    static Json schema() { return schemaOfSample(toJson(Value())); }
};
template <>
struct SchemaOf<WContentProvider> {
    static Json schema() { return schemaOfSample(toJson(WContentProvider({}, 0))); }
};
template <>
struct SchemaOf<unsigned long> {
    static Json schema() { return {{"type", "integer"}, {"minimum", 0}}; }
};
template <>
struct SchemaOf<unsigned long long> {
    static Json schema() { return SchemaOf<unsigned long>::schema(); }
};
template <class Element>
struct SchemaOf<std::list<Element>> {
    static Json schema() { return {{"type", "array"}, {"items", SchemaOf<Element>::schema()}}; }
};
template <class Record>
struct SchemaOf<WContainer<Record>> {
    static Json schema()
    {
        return {{"type", "object"},
                {"properties", {{"count", typeOnly("integer")}, {"data", SchemaOf<std::list<Record>>::schema()}}}};
    }
};
template <class Number, class Value>
struct SchemaOf<std::multimap<Number, Value>> {
    static Json schema() { return typeOnly("array"); }
};

Json resultsSchema(Json results)
{
    if (results.empty()) {
        return {{"type", "array"}, {"maxItems", 0}};
    }
    return {{"type", "array"}, {"items", std::move(results)}};
}

/// A request's response: what the operation returned, and its results if it was accepted.
Json resultSchema(Json results)
{
    return {{"type", "object"},
            {"required", Json::array({"return", "requestID", "reference", "status"})},
            {"properties",
             {{"return", typeOnly("integer")},
              {"requestID", typeOnly("integer")},
              {"reference", typeOnly("integer")},
              {"status", typeOnly("integer")},
              {"results", resultsSchema(std::move(results))}}}};
}

/// The response of an operation without a request.
Json returnSchema(const char* type)
{
    return {{"type", "object"}, {"properties", {{"return", typeOnly(type)}}}};
}

// --- rows ------------------------------------------------------------------------------------------------------------

template <class Callback>
struct ResultsOf;
template <class... Rest>
struct ResultsOf<void (*)(int, Rest...)> {
    template <std::size_t... Index>
    static Json schemas(std::index_sequence<Index...> /*unused*/)
    {
        Json array = Json::array();
        (array.push_back(SchemaOf<Stored<std::tuple_element_t<Index, std::tuple<Rest...>>>>::schema()), ...);
        return array;
    }
    static Json schemas() { return schemas(std::make_index_sequence<sizeof...(Rest) - 2>()); }
};

template <class Parameters, std::size_t... Index, class... Names>
std::vector<RpcParameter> parametersOf(std::index_sequence<Index...> /*unused*/, Names... names)
{
    return {RpcParameter{names, SchemaOf<Stored<std::tuple_element_t<Index, Parameters>>>::schema()}...};
}

/// A request operation: callback first, user data and status record last.
/// @param names  of its parameters
template <class Callback, class... Rest, class... Names>
RpcOperation row(std::string_view name, int (WCorvaneOAI::*operation)(Callback, Rest...), Names... names)
{
    constexpr std::size_t kOwn = sizeof...(Rest) - 2;
    static_assert(sizeof...(Names) == kOwn, "one name for each parameter");
    static_assert(std::is_same_v<std::tuple_element_t<kOwn, std::tuple<Rest...>>, void*>);
    static_assert(std::is_same_v<std::tuple_element_t<kOwn + 1, std::tuple<Rest...>>, WRequestStatus&>);
    return {name,
            parametersOf<std::tuple<Rest...>>(std::make_index_sequence<kOwn>(), names...),
            kOwn,
            resultSchema(ResultsOf<Callback>::schemas()),
            false,
            [operation](WCorvaneOAI& plugin, const Json& parameters, RpcCall& rpcCall) {
                return RpcReturn{call(plugin, operation, parameters, rpcCall, std::make_index_sequence<kOwn>()), {}};
            }};
}

template <class Value>
RpcParameter named(std::string_view name)
{
    return {name, SchemaOf<Value>::schema()};
}

/// The row of an operation that reads or writes files of this machine.
RpcOperation withFiles(RpcOperation operation)
{
    operation.files = true;
    return operation;
}

/// The response of an operation without a request.
RpcReturn returned(Json value)
{
    return {0, Json{{"return", std::move(value)}}};
}

/// An account operation: it returns at once, and may write a status record.
RpcReturn returned(int value, const RpcCall& call)
{
    RpcReturn result = returned(value);
    call.out().writeTo(*result.result);
    return result;
}

// Operations that are not plain requests.

RpcReturn isValid(WCorvaneOAI& plugin, const Json& /*parameters*/, RpcCall& /*call*/)
{
    return returned(plugin.isValid());
}

RpcReturn login(WCorvaneOAI& plugin, const Json& parameters, RpcCall& call)
{
    const auto id = parameter<std::string>(parameters, 0);
    const auto password = parameter<std::string>(parameters, 1);
    return returned(plugin.login(id, password, nullptr, nullptr, call.out()), call);
}

RpcReturn logout(WCorvaneOAI& plugin, const Json& /*parameters*/, RpcCall& call)
{
    return returned(plugin.logout(nullptr, nullptr, call.out()), call);
}

RpcReturn retrieveExceptions(WCorvaneOAI& plugin, const Json& /*parameters*/, RpcCall& call)
{
    std::list<WException*> exceptions;
    return returned(plugin.retrieveExceptions(exceptions), call);
}

RpcReturn resolveException(WCorvaneOAI& plugin, const Json& /*parameters*/, RpcCall& call)
{
    return returned(plugin.resolveException(nullptr, nullptr, nullptr, call.out()), call);
}

RpcReturn cancel(WCorvaneOAI& plugin, const Json& parameters, RpcCall& /*call*/)
{
    const auto reference = parameter<unsigned long long>(parameters, 0);
    return returned(plugin.cancel(optionalProvider(plugin, parameters, 1), reference));
}

RpcReturn setAuthSeedkey(WCorvaneOAI& plugin, const Json& parameters, RpcCall& /*call*/)
{
    plugin.setAuthSeedkey(parameter<WVLSession>(parameters, 0));
    return returned(nullptr);
}

RpcReturn getTodaySchedule(WCorvaneOAI& plugin, const Json& parameters, RpcCall& /*call*/)
{
    WContainer<WVLContent> container;
    const int value = plugin.getTodaySchedule(parameter<std::string>(parameters, 0), container);
    RpcReturn result = returned(value);
    if (value >= 0) {
        (*result.result)["results"] = Json::array({toJson(container)});
    }
    return result;
}

RpcReturn download(WCorvaneOAI& plugin, const Json& parameters, RpcCall& call)
{
    const auto url = parameter<std::string>(parameters, 0);
    const auto directory = parameter<std::string>(parameters, 1);
    const auto fileName = parameter<std::string>(parameters, 2);
    return {plugin.download(optionalProvider(plugin, parameters, 3), url, directory, fileName,
                            &Receiver<DownloadCallback>::receive, static_cast<void*>(&call), call.out()),
            {}};
}

}  // namespace

void WatchedStatus::writeTo(Json& json) const
{
    const auto orNull = [](const auto& written) { return written ? Json(*written) : Json(nullptr); };
    json["requestID"] = orNull(m_requestID);
    json["reference"] = orNull(m_reference);
    json["status"] = orNull(m_status);
}

const std::vector<RpcOperation>& rpcOperations()
{
    using Oai = WCorvaneOAI;
    static const std::vector<RpcOperation> s_rows{
        {"isValid", {}, 0, returnSchema("boolean"), false, isValid},
        {"login", {named<std::string>("id"), named<std::string>("password")}, 2, returnSchema("integer"), false, login},
        {"logout", {}, 0, returnSchema("integer"), false, logout},
        {"retrieveExceptions", {}, 0, returnSchema("integer"), false, retrieveExceptions},
        {"resolveException", {}, 0, returnSchema("integer"), false, resolveException},
        {"cancel",
         {named<unsigned long long>("reference"), named<unsigned long long>("provider")},
         1,
         returnSchema("integer"),
         false,
         cancel},
        row("getAuthSeedkey", &Oai::getAuthSeedkey),
        {"setAuthSeedkey", {named<WVLSession>("session")}, 1, returnSchema("null"), false, setAuthSeedkey},
        row("getGenreList", &Oai::getGenreList, "checksum"),
        row("getConfLog", &Oai::getConfLog),
        row("getLocalTime", &Oai::getLocalTime),
        row("resetHistory", &Oai::resetHistory, "time"),
        row("getServerUrl", &Oai::getServerUrl),
        row("checkUpload", &Oai::checkUpload),
        withFiles(row("sendChannel", &Oai::sendChannel, "url", "fileName")),
        row("getCertificationRule", &Oai::getCertificationRule),
        row("getChannelList", &Oai::getChannelList, "checksum"),
        row("getHeadend", &Oai::getHeadend, "zipCode"),
        row("getCityList", &Oai::getCityList),
        row("getCityList_browse", &Oai::getCityList_browse),
        row("getHeadend_Kor", &Oai::getHeadend_Kor, "code"),
        row("getHeadend_browse", &Oai::getHeadend_browse, "code"),
        row("getSchedule", &Oai::getSchedule, "sources", "start", "interval", "imageSizes"),
        row("getOnAir", &Oai::getOnAir, "sources", "imageSizes"),
        row("getTodayURL", &Oai::getTodayURL),
        {"getTodaySchedule", {named<std::string>("path")}, 1, returnSchema("integer"), true, getTodaySchedule},
        row("getLineupTest", &Oai::getLineupTest, "headend"),
        row("getFocusChannel", &Oai::getFocusChannel, "source", "imageSize", "num"),
        row("getContentList", &Oai::getContentList, "genres", "time", "start", "num"),
        row("getContentDetailInfo", &Oai::getContentDetailInfo, "contentId", "source", "startTime"),
        row("getGuide", &Oai::getGuide, "channel", "channelNumber", "time", "interval", "imageSize", "start", "num"),
        row("getPersonDetailInfo", &Oai::getPersonDetailInfo, "personId"),
        row("getSeriesDetailInfo", &Oai::getSeriesDetailInfo, "contentId", "source"),
        row("setFavorite", &Oai::setFavorite, "type", "id"),
        row("deleteFavorite", &Oai::deleteFavorite, "type", "id"),
        row("getFavoriteChannel", &Oai::getFavoriteChannel, "type", "id", "imageSize"),
        row("getFavoriteContent", &Oai::getFavoriteContent, "type", "id", "imageSize"),
        row("getFavoriteChannelList", &Oai::getFavoriteChannelList, "type", "imageSize", "order", "sort", "start",
            "num"),
        row("getFavoriteContentList", &Oai::getFavoriteContentList, "type", "imageSize", "order", "sort", "start",
            "num"),
        row("sendTuneHistory", &Oai::sendTuneHistory, "ttid", "source"),
        row("sendLike", &Oai::sendLike, "key", "value", "type"),
        row("getLikeHistory", &Oai::getLikeHistory, "key", "value"),
        row("saveHeadend", &Oai::saveHeadend),
        row("loadHeadend", &Oai::loadHeadend),
        row("getSmartChannel", &Oai::getSmartChannel),
        row("getSmartPopular", &Oai::getSmartPopular),
        row("getPopularChannel", &Oai::getPopularChannel, "imageSize", "count"),
        row("getRelatedContent", &Oai::getRelatedContent, "ttid", "imageSize"),
        row("getMissedContent", &Oai::getMissedContent, "order"),
        row("getCandidateMissedContent", &Oai::getCandidateMissedContent),
        row("getCombination", &Oai::getCombination, "modelFirmwareCode"),
        row("searchEPG", &Oai::searchEPG, "query", "exact", "start", "num"),
        row("checkAgreement", &Oai::checkAgreement),
        row("confirmAgreement", &Oai::confirmAgreement),
        row("setAnonymAgreement", &Oai::setAnonymAgreement, "anonymous"),
        row("revocateAgreement", &Oai::revocateAgreement),
        {"download",
         {named<std::string>("url"), named<std::string>("directory"), named<std::string>("fileName"),
          named<unsigned long long>("provider")},
         3,
         resultSchema(ResultsOf<DownloadCallback>::schemas()),
         true,
         download},
    };
    return s_rows;
}

bool isOffered(const RpcOperation& operation, RpcAccess access)
{
    return access == RpcAccess::All || !operation.files;
}

namespace {

/// The names of the parameters, as in `(reference, [provider])`.
std::string signature(const RpcOperation& operation)
{
    std::string names;
    for (std::size_t i = 0; i < operation.parameters.size(); ++i) {
        names += fmt::format(i < operation.leastParameters ? "{}{}" : "{}[{}]", i == 0 ? "" : ", ",
                             operation.parameters[i].name);
    }
    return fmt::format("({})", names);
}

}  // namespace

RpcReturn runOperation(const RpcOperation& operation, WCorvaneOAI& plugin, const Json& parameters, RpcCall& call)
{
    const std::size_t most = operation.parameters.size();
    if (!parameters.is_array()) {
        throw RpcParameterError(fmt::format("{0}: parameters by name are not supported; pass an array: {0}{1}",
                                            operation.name, signature(operation)));
    }
    if (parameters.size() < operation.leastParameters || parameters.size() > most) {
        throw RpcParameterError(
            fmt::format("{0}: {1} parameter(s) given, {2} expected: {0}{3}", operation.name, parameters.size(),
                        operation.leastParameters == most ? fmt::to_string(most)
                                                          : fmt::format("{} to {}", operation.leastParameters, most),
                        signature(operation)));
    }
    try {
        return operation.run(plugin, parameters, call);
    } catch (const RpcParameterError& error) {
        throw RpcParameterError(fmt::format("{}: {}", operation.name, error.what()));
    }
}

}  // namespace W::host
