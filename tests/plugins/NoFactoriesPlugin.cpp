// A library of the plug-in's name that lacks its factories.
extern "C" int ZelTestPluginWithoutFactories()
{
    return 0;
}
