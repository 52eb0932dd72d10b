// A module that works while it is loaded, with the loader's lock held.
extern "C" void zmu_test_whileLoading();

[[maybe_unused]] static const bool hasWorked = (zmu_test_whileLoading(), true);
