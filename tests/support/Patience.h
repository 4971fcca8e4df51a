#pragma once

/// For how long a test waits, at most, for what must come: long enough for a machine that is busy
/// with other things.
inline constexpr int patienceMs = 180'000;
