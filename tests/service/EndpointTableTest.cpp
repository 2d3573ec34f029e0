#include "EndpointTable.h"

#include <gtest/gtest.h>

namespace corvaned {
namespace {

ServiceCode refusalOf(std::string_view method, std::string_view path)
{
    try {
        routeOf(method, path);
        return ServiceCode::Ok;
    } catch (const Refusal& refusal) {
        return refusal.code();
    }
}

TEST(EndpointTable, HeadIsAnsweredLikeGet)
{
    EXPECT_EQ(refusalOf("GET", "/openapi/service/vorel/conf/localtime"), ServiceCode::Ok);
    EXPECT_EQ(refusalOf("HEAD", "/openapi/service/vorel/conf/localtime"), ServiceCode::Ok);
    EXPECT_EQ(refusalOf("PATCH", "/openapi/service/vorel/conf/localtime"), ServiceCode::WrongMethod);
    EXPECT_EQ(refusalOf("GET", "/openapi/service/vorel/conf/localtime/"), ServiceCode::UnknownPath);
}

}  // namespace
}  // namespace corvaned
