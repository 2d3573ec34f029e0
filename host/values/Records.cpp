// The records' destructors. Each is its class's first virtual function that is not inline, so the compiler puts the
// virtual table here, into the host, and records stay usable after the plug-in that filled them has been unloaded.
#include "WVLChannel.h"
#include "WVLConcierge.h"
#include "WVLContent.h"
#include "WVLDownloadURL.h"
#include "WVLGenre.h"
#include "WVLHeadend.h"
#include "WVLImage.h"
#include "WVLPerson.h"
#include "WVLQuiz.h"
#include "WVLService.h"

namespace W {

WResource::~WResource() = default;
WVLChannel::~WVLChannel() = default;
WVLCombination::~WVLCombination() = default;
WVLConcierge::~WVLConcierge() = default;
WVLContent::~WVLContent() = default;
WVLDownloadURL::~WVLDownloadURL() = default;
WVLGenre::~WVLGenre() = default;
WVLRepGenre::~WVLRepGenre() = default;
WVLDevice::~WVLDevice() = default;
WVLHeadend::~WVLHeadend() = default;
WVLCityCode::~WVLCityCode() = default;
WVLImage::~WVLImage() = default;
WVLPerson::~WVLPerson() = default;
WVLAnswer::~WVLAnswer() = default;
WVLQuiz::~WVLQuiz() = default;
WVLEvent::~WVLEvent() = default;
WVLLog::~WVLLog() = default;
WVLCertificationRule::~WVLCertificationRule() = default;
WVLLocaltime::~WVLLocaltime() = default;
WVLSession::~WVLSession() = default;

}  // namespace W
