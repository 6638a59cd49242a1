// A library that is no driver.

extern "C" __attribute__((visibility("default"))) int some_other_function()
{
    return 0;
}
