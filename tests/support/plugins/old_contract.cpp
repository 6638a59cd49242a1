// A driver library of an earlier contract: all that an application asks before it loads drivers.

extern "C" __attribute__((visibility("default"))) int velm_driver_contract_version()
{
    return 0;
}
