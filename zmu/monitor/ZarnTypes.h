// Constants, enumerations and function types of the monitor.
#pragma once

#include <zmu/foundation/Types.h>
#include <zmu/platform/Host.h>

class Zarn;
class ZarnDataForThread;

/// Answer of a question that may have none.
enum Zarn_FUZZY_CHOICE : int { Zarn_FUZZY_UNKNOWN = -1, Zarn_FUZZY_NO = 0, Zarn_FUZZY_YES = 1 };

/// What a held DX code does to the next operation.
enum Zarn_TOLERANCE : int {
    Zarn_TOLERANCE_UNSET = -1,
    Zarn_TOLERANCE_NONE = 0,      ///< The code stays until somebody forgets it.
    Zarn_TOLERANCE_RESERVED = 1,  ///< As none; never stored.
    Zarn_TOLERANCE_FORGIVING = 2, ///< The next operation erases the code and proceeds.
};

/// Assertiveness level, 0 to 10; stored and handed back, for the product to act on.
using Zarn_DX_MODE = int;

/// Target of a message format.
enum Zarn_MSG_FMT : int { Zarn_MSG_FMT_DISPLAY = 0, Zarn_MSG_FMT_LOGFILE = 1 };

/// Character set of recorded strings that are wide; 0 and 1 are narrow.
inline constexpr int ZARN_CHARSET_WIDE = 2;

/// Position of recordArgument: behind the last argument recorded.
inline constexpr int ZARN_ARG_NEXT = 0x7FFFFFFF;

// Criteria and traits decide what a process without a log of its own hands to its proxy. Where
// there is a log it gets every situation, and of the criteria only the respond bits count: without
// any the display shows nothing.

/// Bits of a behaviour criteria word of which any lets the monitor respond.
inline constexpr zmu::u64 ZARN_RESPOND_MASK = 0xE000000000000000;
/// Criteria of a new data set: respond, and level 15 in the fields of enablements 1 and 2.
inline constexpr zmu::u64 ZARN_DEFAULT_BEHAVIOR_CRITERIA = 0xE00001E1E0000000;
/// Traits of a situation until its spec says otherwise: level 1 in the field of enablement 2.
inline constexpr zmu::u64 ZARN_DEFAULT_RESPONSE_TRAITS = 0x20000000;

/// A plug-in: runs on the reporting thread with the data set's lock held, after all reports. Reads
/// the situation through its monitor, and does not report to it. A false or an exception concerns
/// nobody else.
using ZarnPlugIn = bool (*)(const Zarn* monitor);
/// A display function: shows `text` under `caption` with the style word `type`; its result is kept
/// for getDisplayDlgBoxResult. Runs with the data set's lock held, and does not report to the same
/// monitor.
using ZarnDisplayFunction = int (*)(HWND parent, const wchar_t* text, const wchar_t* caption,
                                    unsigned int type);
/// Is told of each situation that failed: its ID, the code and its name (DxCodes.h), and `text`,
/// which says what happened and where in the spec, as the trace line does. Runs on the reporting
/// thread when the situation has left the data set's lock; under it for one that was reported under
/// it, by a plug-in for instance. What it needs of the texts it copies; it is quick, does not
/// destroy the monitor or remove its thread (RemoveThreadFailed), and does not report to it, since
/// the code would be lost to the caller. What it throws is caught.
using ZarnFailureFunction = void (*)(int situationID, int code, const wchar_t* name,
                                     const wchar_t* text);
/// Decides whether situations of `traits` concern a monitor of `criteria`.
using ZarnTraitsAssessor = bool (*)(const zmu::u64& criteria, const zmu::u64& traits);
/// Makes the engine of a thread, with new; null is a failure.
using ZarnEngineFactory = ZarnDataForThread* (*)();
/// The entry "ProxyRespondToSituation" of the proxy module; non-zero is success.
using ZarnProxyFunction = int (*)(unsigned int enablements, zmu::i64 instantiatorID,
                                  int negatedSituationID, const wchar_t* format,
                                  const wchar_t* description);
