// What the core-library double records of the calls the image library makes into it; shared by
// the double and the test that reads it back, so both name one type.
#ifndef FAKE_KEPCORE_LOG_H
#define FAKE_KEPCORE_LOG_H

struct KepFakeCoreCall {
    int function;  // 1 kepGetCpuFeatures, 2 kepGetEnabledCpuFeatures
    bool maskPtrNull, regsPtrNull;
};
struct KepFakeCoreLog {
    int count;
    KepFakeCoreCall calls[16];
};

#endif  // FAKE_KEPCORE_LOG_H
