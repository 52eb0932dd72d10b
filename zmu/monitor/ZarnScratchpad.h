// Two work buffers for texts on the way.
#pragma once

#include <zmu/foundation/Export.h>
#include <zmu/foundation/Types.h>
#include <zmu/foundation/WideBuffer.h>

class ZMU_API ZarnScratchpad {
  public:
    using Buffer = zmu::WideBuffer<1024>;

    ZarnScratchpad();
    virtual ~ZarnScratchpad();

    /// Mask bit 8 zeroes both buffers; other bits do nothing. False for `passes` below 1.
    bool setMemberVarsToDefaults(int passes, zmu::ulong32 mask);

    /// Zeroes what is in use of both buffers.
    void clear()
    {
        m_a.clear();
        m_b.clear();
    }

    Buffer m_a; ///< Scratch A.
    Buffer m_b; ///< Scratch B.
};
