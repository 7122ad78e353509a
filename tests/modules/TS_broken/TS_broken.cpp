// Test module that fails to load: with immediate binding the missing symbol is an error.
extern "C" void TS_SymbolThatNobodyDefines();

extern "C" void ModuleLoad() { TS_SymbolThatNobodyDefines(); }
