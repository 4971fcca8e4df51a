#pragma once

/// Has every operator new of this thread fail, or succeed again. Qt Test has threads of its own.
/// For tests that are linked with ExhaustedMemory.cpp, which replaces the operators.
void setMemoryExhausted(bool isExhausted);
