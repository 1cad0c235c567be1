#ifndef ZELCONFIG_STATUS_H
#define ZELCONFIG_STATUS_H

namespace zelconfig {

// The statuses of the legacy classes and of the back ends behind
// IConfigReader and IConfigWriter (the XML plug-in's included), by cause,
// with the values they have always had; 0 is success. Causes that share a
// value cannot be told apart by the caller, only by the log.
enum Status : int
{
    kStatusMalformed = -1,      // the parse stopped at what it cannot read: a CFG header without
                                // ']', XML that is not well formed or that the plug-in refuses
    kStatusNotFound = -2,       // no such key or block, or a file that cannot be opened, read or saved
    kStatusInvalid = 22,        // EINVAL: nothing to work on (no model, document, reader or writer,
                                // or an empty key to CFGSetData), an entry above the first header
                                // in block mode, or memory that ran out
    kStatusEmptyKey = 7,        // an empty key
    kStatusNoData = 7,          // a writer's SetValue with no data loaded or handed over
    kStatusEmptyPath = 7,       // a writer's SetPath with an empty path
    kStatusNotBool = 7,         // CZelConfigWriter::SetBool with neither 0 nor 1
    kStatusLenderGone = 7,      // a writer's SetValue on data whose reader has let it go
    kStatusNotHoldable = 7,     // an XML value with a NUL or another control character (tab, line
                                // feed and carriage return excepted), or more than ASCII in a file
                                // declared in another encoding than UTF-8
    kStatusNotBoolText = -1,    // CZelConfigReader::GetBool: a text neither "true" nor "false"
    kStatusConversionErrno = 1, // CZelConfigReader's numeric getters: the conversion set errno
                                // (the converted value is still stored)
};

} // namespace zelconfig

#endif
