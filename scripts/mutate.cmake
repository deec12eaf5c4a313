# For scripts/mutate: compiles what it does not change in a few large parts, which takes a fraction of the time.
cmake_language(DEFER CALL set_target_properties orm_tool tool-tests PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
