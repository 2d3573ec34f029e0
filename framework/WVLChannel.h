// Record: a channel of the line-up. A guide holds thousands of programmes of one channel, so copies of a channel share
// their contents until one of them is written.
#pragma once

#include <string>
#include <utility>

#include "WResource.h"
#include "WShared.h"
#include "WVLImage.h"

#pragma GCC visibility push(default)
namespace W {

/// A channel. `Source` is its identifier at the service, `DTV` its identifier in the broadcast; the tuning fields
/// are filled by the channel list only. A channel without a station image has an empty one.
class WVLChannel : public WResource {
public:
    WVLChannel() = default;
    WVLChannel(const WVLChannel&) = default;
    WVLChannel(WVLChannel&&) noexcept = default;
    WVLChannel& operator=(const WVLChannel&) = default;
    WVLChannel& operator=(WVLChannel&&) noexcept = default;
    ~WVLChannel() override;

    void setName(std::string text) { set(&Body::Name, std::move(text)); }
    void setNumber(std::string text) { set(&Body::Number, std::move(text)); }
    void setSource(std::string text) { set(&Body::Source, std::move(text)); }
    void setMajorCH(std::string text) { set(&Rare::MajorCH, std::move(text)); }
    void setMinorCH(std::string text) { set(&Rare::MinorCH, std::move(text)); }
    void setPtc(std::string text) { set(&Rare::Ptc, std::move(text)); }
    void setDigital(std::string text) { set(&Rare::Digital, std::move(text)); }
    void setQAM(std::string text) { set(&Rare::QAM, std::move(text)); }
    void setONID(std::string text) { set(&Rare::ONID, std::move(text)); }
    void setTSID(std::string text) { set(&Rare::TSID, std::move(text)); }
    void setSID(std::string text) { set(&Rare::SID, std::move(text)); }
    void setFreq(std::string text) { set(&Rare::Freq, std::move(text)); }
    void setAlias(std::string text) { set(&Rare::Alias, std::move(text)); }
    void setEmbed(std::string text) { set(&Rare::Embed, std::move(text)); }
    void setCallSign(std::string text) { set(&Rare::CallSign, std::move(text)); }
    void setDTV(std::string text) { set(&Body::DTV, std::move(text)); }
    void setStationImage(WVLImage record) { m_body.edit().rare.edit().StationImage = std::move(record); }

    const std::string& getName() const { return m_body.get().Name; }
    const std::string& getNumber() const { return m_body.get().Number; }
    const std::string& getSource() const { return m_body.get().Source; }
    const std::string& getMajorCH() const { return m_body.get().rare.get().MajorCH; }
    const std::string& getMinorCH() const { return m_body.get().rare.get().MinorCH; }
    const std::string& getPtc() const { return m_body.get().rare.get().Ptc; }
    const std::string& getDigital() const { return m_body.get().rare.get().Digital; }
    const std::string& getQAM() const { return m_body.get().rare.get().QAM; }
    const std::string& getONID() const { return m_body.get().rare.get().ONID; }
    const std::string& getTSID() const { return m_body.get().rare.get().TSID; }
    const std::string& getSID() const { return m_body.get().rare.get().SID; }
    const std::string& getFreq() const { return m_body.get().rare.get().Freq; }
    const std::string& getAlias() const { return m_body.get().rare.get().Alias; }
    const std::string& getEmbed() const { return m_body.get().rare.get().Embed; }
    const std::string& getCallSign() const { return m_body.get().rare.get().CallSign; }
    const std::string& getDTV() const { return m_body.get().DTV; }
    const WVLImage& getStationImage() const { return m_body.get().rare.get().StationImage; }

private:
    struct Rare {
        std::string MajorCH;
        std::string MinorCH;
        std::string Ptc;
        std::string Digital;
        std::string QAM;
        std::string ONID;
        std::string TSID;
        std::string SID;
        std::string Freq;
        std::string Alias;
        std::string Embed;
        std::string CallSign;
        WVLImage StationImage;
    };
    struct Body {
        std::string Name;
        std::string Number;
        std::string Source;
        std::string DTV;
        WRarely<Rare> rare;
    };

    /// An empty string allocates nothing.
    void set(std::string Body::*member, std::string text)
    {
        if (!text.empty() || !m_body.isDefault()) {
            m_body.edit().*member = std::move(text);
        }
    }
    void set(std::string Rare::*member, std::string text)
    {
        if (!text.empty() || !m_body.isDefault()) {
            m_body.edit().rare.set(member, std::move(text));
        }
    }

    WShared<Body> m_body;
};

}  // namespace W
#pragma GCC visibility pop
