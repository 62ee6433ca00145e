// The MOF files that are shipped, as this build has them.
// Tests: tests/schema/schema_test.cpp.
#include "mof/embedded.h"

#include "schema_texts/texts.h"

namespace schema {

const mof::Source& qualifiers() {
    static const mof::Source source = {"qualifiers.mof", kQualifiersText};
    return source;
}

const mof::Source& classes() {
    static const mof::Source source = {"PCIInfoProvider.mof", kClassesText};
    return source;
}

const mof::Schema& declared() {
    static const mof::Schema schema = mof::Schema::read({qualifiers(), classes()});
    return schema;
}

}  // namespace schema
