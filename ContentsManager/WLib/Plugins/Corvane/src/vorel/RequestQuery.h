// Writes the parameters of a request. One method per kind of parameter. Names include their "&", so that a search for
// the wire format finds them.
#pragma once

#include <list>
#include <string>
#include <string_view>

#include "DebugPrint.h"
#include "ProviderOptions.h"
#include "WDateTime.h"

namespace W::vorel {

/// The URL and body of a command while MakeURL() writes them. Strings are written unescaped.
class RequestQuery {
public:
    enum class Destination {
        Url,
        Body,
    };

    /// @param url      receives the path, and "?" and the parameters if `destination` is Url
    /// @param body     receives the parameters otherwise
    /// @param options  the settings, which have been read already
    RequestQuery(std::string& url, std::string& body, Destination destination, const ProviderOptions& options,
                 Here here);
    /// Prints the URL and BODY lines.
    ~RequestQuery();
    RequestQuery(const RequestQuery&) = delete;
    RequestQuery& operator=(const RequestQuery&) = delete;

    /// "country=", without "&", because it is the first parameter.
    RequestQuery& country();
    /// Quirk: writes nothing if the setting is empty, so a query can begin with "?&".
    RequestQuery& countryIfSet();
    RequestQuery& languageIfSet();
    RequestQuery& headend();
    RequestQuery& headendIfSet();
    RequestQuery& device();
    RequestQuery& deviceIfSet();
    /// The setting, or "&device=N". Quirk: the fallback goes to the URL even if the parameters go to the body.
    RequestQuery& deviceOrN();

    RequestQuery& text(std::string_view name, std::string_view value);
    RequestQuery& stringIfSet(std::string_view name, std::string_view value);
    RequestQuery& number(std::string_view name, int value);
    /// 0 means "not given".
    RequestQuery& numberIfSet(std::string_view name, int value);
    RequestQuery& numberIf(bool given, std::string_view name, int value);
    /// Elements in order, separated by ","; an empty list leaves only the name.
    RequestQuery& list(std::string_view name, const std::list<std::string>& values);
    RequestQuery& list(std::string_view name, const std::list<int>& values);
    RequestQuery& listIfSet(std::string_view name, const std::list<int>& values);
    /// An instant in UTC; 0 means "not given". One outside the calendar leaves only the name.
    /// @param seconds  since 1970-01-01T00:00:00Z
    /// @param clock    the server's time difference; the instant gets its offset before it is converted to UTC
    RequestQuery& timeIfSet(std::string_view name, unsigned long seconds, const WDateTime& clock);

    /// Makes the BODY line show the URL.
    RequestQuery& showingUrlAsBody();

private:
    std::string& m_url;
    std::string& m_body;
    std::string& m_out;
    const ProviderOptions& m_options;
    Here m_here;
    bool m_showsUrlAsBody = false;
};

}  // namespace W::vorel
