// Writes the parameters of a request. One method per kind of parameter; names include their "&", so that a search for
// the wire format finds them. Rules that look odd are here, with their reason, and not in the endpoints.
#pragma once

#include <list>
#include <string>
#include <string_view>

#include "DebugPrint.h"
#include "ProviderOptions.h"
#include "WDateTime.h"

namespace W::vorel {

/// The URL and body of a command while MakeURL() writes them. Strings are written unescaped.
class Query {
public:
    enum class Place {
        Url,
        Body,
    };

    /// @param url      gets the path (and "?" and the parameters, when they go there)
    /// @param body     gets the parameters otherwise
    /// @param options  settings, read before anything is written
    Query(std::string& url, std::string& body, Place place, const ProviderOptions& options, Here here);
    /// Prints the URL and BODY lines.
    ~Query();
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;

    /// "country=", without "&": it is the first parameter.
    Query& country();
    /// Quirk: writes nothing if the setting is empty, so a query can begin with "?&".
    Query& countryIfSet();
    Query& languageIfSet();
    Query& headend();
    Query& headendIfSet();
    Query& device();
    Query& deviceIfSet();
    /// The setting, or "&device=N". Quirk: the fallback goes to the URL even when the parameters go to the body.
    Query& deviceOrN();

    Query& text(std::string_view name, std::string_view value);
    Query& textIfSet(std::string_view name, std::string_view value);
    Query& number(std::string_view name, int value);
    /// 0 means "not given".
    Query& numberIfSet(std::string_view name, int value);
    Query& numberIf(bool given, std::string_view name, int value);
    /// Elements in order, separated by ","; an empty list leaves only the name.
    Query& list(std::string_view name, const std::list<std::string>& values);
    Query& list(std::string_view name, const std::list<int>& values);
    Query& listIfSet(std::string_view name, const std::list<int>& values);
    /// An instant in UTC; 0 means "not given". One outside the calendar leaves only the name.
    /// @param seconds  since 1970-01-01T00:00:00Z
    /// @param clock    the server's time difference, whose offset the instant receives before it is turned into UTC
    Query& timeIfSet(std::string_view name, unsigned long seconds, const WDateTime& clock);

    /// Makes the BODY line show the URL.
    Query& showingUrlAsBody();

private:
    std::string& m_url;
    std::string& m_body;
    std::string& m_out;
    const ProviderOptions& m_options;
    Here m_here;
    bool m_showsUrlAsBody = false;
};

}  // namespace W::vorel
