// Record: a channel of the line-up.
#pragma once

#include "WResource.h"
#include "WVLImage.h"

#include <string>
#include <utility>

#pragma GCC visibility push(default)
namespace W {

/// A channel. `Source` is its identifier at the service, `DTV` its identifier in the broadcast; the tuning fields
/// are filled by the channel list only. A channel without a station image has an empty one.
class WVLChannel : public WResource {
public:
    void setName(std::string text) { m_sName = std::move(text); }
    void setNumber(std::string text) { m_sNumber = std::move(text); }
    void setSource(std::string text) { m_sSource = std::move(text); }
    void setMajorCH(std::string text) { m_rare.set(&Rare::MajorCH, std::move(text)); }
    void setMinorCH(std::string text) { m_rare.set(&Rare::MinorCH, std::move(text)); }
    void setPtc(std::string text) { m_rare.set(&Rare::Ptc, std::move(text)); }
    void setDigital(std::string text) { m_rare.set(&Rare::Digital, std::move(text)); }
    void setQAM(std::string text) { m_rare.set(&Rare::QAM, std::move(text)); }
    void setONID(std::string text) { m_rare.set(&Rare::ONID, std::move(text)); }
    void setTSID(std::string text) { m_rare.set(&Rare::TSID, std::move(text)); }
    void setSID(std::string text) { m_rare.set(&Rare::SID, std::move(text)); }
    void setFreq(std::string text) { m_rare.set(&Rare::Freq, std::move(text)); }
    void setAlias(std::string text) { m_rare.set(&Rare::Alias, std::move(text)); }
    void setEmbed(std::string text) { m_rare.set(&Rare::Embed, std::move(text)); }
    void setCallSign(std::string text) { m_rare.set(&Rare::CallSign, std::move(text)); }
    void setDTV(std::string text) { m_sDTV = std::move(text); }
    void setStationImage(WVLImage record) { m_rare.edit().StationImage = std::move(record); }

    const std::string& getName() const { return m_sName; }
    const std::string& getNumber() const { return m_sNumber; }
    const std::string& getSource() const { return m_sSource; }
    const std::string& getMajorCH() const { return m_rare.get().MajorCH; }
    const std::string& getMinorCH() const { return m_rare.get().MinorCH; }
    const std::string& getPtc() const { return m_rare.get().Ptc; }
    const std::string& getDigital() const { return m_rare.get().Digital; }
    const std::string& getQAM() const { return m_rare.get().QAM; }
    const std::string& getONID() const { return m_rare.get().ONID; }
    const std::string& getTSID() const { return m_rare.get().TSID; }
    const std::string& getSID() const { return m_rare.get().SID; }
    const std::string& getFreq() const { return m_rare.get().Freq; }
    const std::string& getAlias() const { return m_rare.get().Alias; }
    const std::string& getEmbed() const { return m_rare.get().Embed; }
    const std::string& getCallSign() const { return m_rare.get().CallSign; }
    const std::string& getDTV() const { return m_sDTV; }
    const WVLImage& getStationImage() const { return m_rare.get().StationImage; }

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
    std::string m_sName;
    std::string m_sNumber;
    std::string m_sSource;
    std::string m_sDTV;
    WRarely<Rare> m_rare;
};

}  // namespace W
#pragma GCC visibility pop
