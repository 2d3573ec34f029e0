// XMLTV listings, plain and compressed. Every channel and programme that is read must be usable.
#include "Fuzz.h"

#include <string>

#include "Listing.h"
#include "OperatorError.h"

namespace {

struct Usable final : corvaned::ListingSink {
    void addChannel(const corvaned::ListingChannel& channel) override
    {
        W::test::require(!channel.id.empty(), "a channel has an id");
    }
    void addProgramme(const corvaned::ListingProgramme& programme) override
    {
        W::test::require(!programme.channel.empty(), "a programme is on a channel");
        W::test::require(!programme.strings.empty(), "a programme has strings");
        W::test::require(!programme.stop || *programme.stop > programme.start, "it ends after it begins");
    }
    void skip(int line, const std::string& reason) override
    {
        W::test::require(line > 0 && !reason.empty(), "what is skipped is reported with its line");
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::uint64_t kLimit = 1 << 20;
    Usable sink;
    try {
        corvaned::readListing(*corvaned::openMemory(W::test::stringOf(data, size), "listing"), "listing", sink, kLimit);
    } catch (const corvaned::OperatorError& refused) {
        W::test::require(refused.what()[0] != '\0', "a refusal says why");
    }
    return 0;
}
