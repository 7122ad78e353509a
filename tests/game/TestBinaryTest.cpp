// The suite keeps the sanitizers' own operator new: a replacement in this binary would hide
// mismatched and double frees from AddressSanitizer in every test. (Allocation counting lives in
// the zendola_alloc_tests binary.)
#include <dlfcn.h>
#include <gtest/gtest.h>

TEST(TestBinary, KeepsTheStandardOperatorNew) {
    void* operatorNew = dlsym(RTLD_DEFAULT, "_Znwm");
    ASSERT_NE(operatorNew, nullptr);
    static int inThisBinary = 0;
    Dl_info from{}, binary{};
    ASSERT_NE(dladdr(operatorNew, &from), 0);
    ASSERT_NE(dladdr(&inThisBinary, &binary), 0);
    EXPECT_NE(from.dli_fbase, binary.dli_fbase) << "operator new defined in " << from.dli_fname;
}
