// A plug-in that answers every operation with sample records, without a service, so that tests see how `corvane rpc`
// converts arguments and results. The function below controls it; the library exports it as `testPluginControl`.
#pragma once

#include <string>

namespace W::host {

enum class Behaviour {
    AtOnce,  ///< the callback runs before the operation returns
    Later,   ///< the callback runs on another thread
    Never,   ///< accepted, but the callback never comes
    Refuse,  ///< refused with -202
};

struct TestPluginControl {
    Behaviour behaviour = Behaviour::AtOnce;
    std::string lastCall;  ///< as in `getOnAir([a,b],[1,2])`
    int objects = 0;       ///< alive
};

using GetTestPluginControl = TestPluginControl* (*)();

}  // namespace W::host
