// A plug-in that answers every operation with sample records, without a service: it shows what `corvane rpc` makes of
// arguments and results. What it does is set through the function below, which the library exports beside its entry
// points as `testPluginControl`.
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
