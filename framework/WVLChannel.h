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

    void setName(std::string name) { set(&Body::Name, std::move(name)); }
    void setNumber(std::string number) { set(&Body::Number, std::move(number)); }
    void setSource(std::string source) { set(&Body::Source, std::move(source)); }
    void setMajorCH(std::string majorCH) { set(&Rare::MajorCH, std::move(majorCH)); }
    void setMinorCH(std::string minorCH) { set(&Rare::MinorCH, std::move(minorCH)); }
    void setPtc(std::string ptc) { set(&Rare::Ptc, std::move(ptc)); }
    void setDigital(std::string digital) { set(&Rare::Digital, std::move(digital)); }
    void setQAM(std::string qam) { set(&Rare::QAM, std::move(qam)); }
    void setONID(std::string onid) { set(&Rare::ONID, std::move(onid)); }
    void setTSID(std::string tsid) { set(&Rare::TSID, std::move(tsid)); }
    void setSID(std::string sid) { set(&Rare::SID, std::move(sid)); }
    void setFreq(std::string freq) { set(&Rare::Freq, std::move(freq)); }
    void setAlias(std::string alias) { set(&Rare::Alias, std::move(alias)); }
    void setEmbed(std::string embed) { set(&Rare::Embed, std::move(embed)); }
    void setCallSign(std::string callSign) { set(&Rare::CallSign, std::move(callSign)); }
    void setDTV(std::string dtv) { set(&Body::DTV, std::move(dtv)); }
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
    void set(std::string Body::*member, std::string value)
    {
        if (!value.empty() || !m_body.isDefault()) {
            m_body.edit().*member = std::move(value);
        }
    }
    void set(std::string Rare::*member, std::string value)
    {
        if (!value.empty() || !m_body.isDefault()) {
            m_body.edit().rare.set(member, std::move(value));
        }
    }

    WShared<Body> m_body;
};

}  // namespace W
#pragma GCC visibility pop
