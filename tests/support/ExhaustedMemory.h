#pragma once

/// Has every operator new of this thread fail, on Windows every allocation of the C library, or
/// succeed again. Qt Test has threads of its own. For tests that are linked with
/// ExhaustedMemory.cpp, which replaces what they call.
void setMemoryExhausted(bool isExhausted);
