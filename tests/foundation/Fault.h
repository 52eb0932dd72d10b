// The code of the exception that a body throws.
#pragma once

#include <zmu/foundation/UTL_Exception.h>

struct Fault : UTL_Exception {
    /// 0 when nothing is thrown.
    template <class Body>
    static unsigned of(Body body)
    {
        try {
            body();
        } catch (const UTL_Exception& fault) {
            return fault.*&Fault::m_code;
        }
        return 0;
    }
};
