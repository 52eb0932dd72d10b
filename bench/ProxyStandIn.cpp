// A proxy that takes every situation and does nothing with it.

extern "C" __attribute__((visibility("default"))) int
ProxyRespondToSituation(unsigned int /*enablements*/, long long /*instantiatorID*/,
                        int /*negatedSituationID*/, const wchar_t* /*format*/,
                        const wchar_t* /*description*/)
{
    return 1;
}
