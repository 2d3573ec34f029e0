#include "JsonTree.h"

namespace corvaned {

std::string serialize(const Json& tree)
{
    return tree.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace corvaned
