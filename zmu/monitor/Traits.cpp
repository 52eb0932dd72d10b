// The data set judges situations: criteria against traits, and the word spoken with the proxy.
#include <zmu/monitor/ZarnData.h>

#include <zmu/monitor/internal/Guards.h>

using namespace zmu;

namespace {

/// A level field of the criteria and traits words, and its enablement bit (0: none).
struct LevelField {
    u64 mask;
    u64 shift;
    unsigned int enablement;
};

constexpr LevelField levelFields[] = {
    {15, 25, 8}, {15, 29, 2}, {15, 33, 32}, {15, 37, 1}, {15, 41, 0}, {15, 45, 16}, {15, 49, 4},
};

// A situation of kind 1 speaks these enablements whatever its traits.
constexpr unsigned int enablementsOfKind1 = 11;

bool approves(const LevelField& field, const u64& criteria, const u64& traits)
{
    return ZarnData::approveSituationResponseTraitsLevel(criteria, traits, field.mask, field.shift);
}

} // namespace

Zarn_FUZZY_CHOICE ZarnData::canRespondToSituations(const u64& criteria)
{
    return criteria & ZARN_RESPOND_MASK ? Zarn_FUZZY_YES : Zarn_FUZZY_NO;
}

Zarn_FUZZY_CHOICE ZarnData::canRespondToSituations() const
{
    return canRespondToSituations(m_behaviorCriteria);
}

bool ZarnData::approveSituationResponseTraitsLevel(const u64& criteria, const u64& traits,
                                                   const u64& mask, const u64& shift)
{
    const u64 field = mask << (shift % 64);
    return (criteria & field) && (traits & field) && (traits & field) <= (criteria & field);
}

bool ZarnData::approveSituationResponseTraits(const u64& criteria, const u64& traits)
{
    if (canRespondToSituations(criteria) != Zarn_FUZZY_YES)
        return false;
    for (const LevelField& field : levelFields) {
        if (approves(field, criteria, traits))
            return true;
    }
    return false;
}

bool ZarnData::approveSituationResponseTraits(const u64& traits) const
{
    try {
        return m_situationResponseTraitsAssessor &&
               m_situationResponseTraitsAssessor(m_behaviorCriteria, traits);
    } catch (...) {
        return false;
    }
}

bool ZarnData::approveSituationResponseTraits(unsigned int kind, const u64& traits,
                                              unsigned int& enablements) const
{
    enablements = 0;
    if (canRespondToSituations() != Zarn_FUZZY_YES)
        return false;
    if (kind == 1) {
        enablements = enablementsOfKind1;
    } else if (kind == 2) {
        for (const LevelField& field : levelFields) {
            if (approves(field, m_behaviorCriteria, traits))
                enablements |= field.enablement;
        }
    }
    return enablements != 0;
}

bool ZarnData::logSituationDescriptionViaProxy(int situationID, unsigned int kind, u64 traits,
                                               const wchar_t* description)
{
    const CancellationHold hold;
    runGuarded(*this, dx::ProxyUnexpected, [&] {
        requireOrRaiseHeld(isSelfApproving(), *this);
        require(situationID >= 1 && (kind == 1 || kind == 2) && description && *description &&
                    !isInstantiatorRunningNatively() && m_proxyRespondToSituation,
                dx::ProxyArguments);
        unsigned int enablements = 0;
        if (approveSituationResponseTraits(kind, traits, enablements))
            require(m_proxyRespondToSituation(enablements, m_nonnativeInstantiatorID, -situationID,
                                              L"%s", description),
                    dx::ProxyRefused);
    });
    return isSelfSatisfied();
}
