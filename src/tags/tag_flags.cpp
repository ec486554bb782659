// The assembly's switches live under the product's own key of the current user, whatever
// default key the process has set.
#include "foundation/settings/xregistry.h"
#include "tags/tag_assembly.h"

namespace {

bool FlagSet(const char16_t* name) { return RegGetInt(name, HKEY_CURRENT_USER, XProductRegistryKey) != 0; }

}  // namespace

XTagAssemblyFlags ReadTagAssemblyFlags() {
    XTagAssemblyFlags flags;
    flags.noUpdateEncoderTags = FlagSet(u"vMXNoUpdateEncoderTags");
    flags.noTagDropSpaces = FlagSet(u"vMXNoTagDropSpaces");
    flags.noDropRPGainTags = FlagSet(u"vMXNoDropRPGainTags");
    return flags;
}
