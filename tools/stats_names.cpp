// SPDX-License-Identifier: Apache-2.0
// What the fields of queue and buffer replies are, where that is known; a field without a name is told by its place.
// Several values in one field have their names in turn.
#include <algorithm>
#include <string_view>

#include "agent/messages/codes.h"
#include "tools/names.h"
#include "tools/stats_views.h"

namespace {

// "FIELD:NAME", with a bar between them. A field of more values than a row has stands with their numbers.
struct names_t {
    uint8_t code;
    std::string_view names;
};

constexpr names_t NAMES[] = {
    {QOS_GET_ING_BUF_STATS_MSG, "pri112:high-water mark|pri144:bound|pri176:assert level|pri208:de-assert level|"
                                "pri240:free|pri272:percent used|pri280:full|flag288:something waits"},
    {QOS_GET_EGR_BUF_STATS_MSG, "pri48:used|pri80:high-water mark|pri112:bound|pri144:waits|pri152:full"},
    {QOS_GET_PLC_ING_BUF_STATS_MSG,
     "val48:memory, used, high-water mark, left, ports that wait, ports|pri72:used|pri104:high-water mark|pri136:bound|"
     "pri168:assert level|val200:queues stopped, full|pri208:lossless|pri216:sender stopped|"
     "flag224:some sender stopped|flag225:something waits"},
    {QOS_GET_PLC_EGR_BUF_STATS_MSG,
     "val48:memory, used, high-water mark, left|pri64:used|pri96:high-water mark|pri128:bound|pri160:waits"},
    {QOS_GET_ING_TMC_PORT_BUF_STATS_MSG,
     "val52:queues that wait|val53:queues stopped|val56:used|pri60:used|pri92:high-water mark|val124:budget|"
     "pri128:bound|pri160:assert level|pri192:de-assert level|pri224:free|val256:budget left|"
     "pair260:RED frames, bytes, tail drop frames, bytes"},
    {QOS_GET_EGR_TMC_PORT_BUF_STATS_MSG,
     "val52:used|pri56:used|pair92[0..7]:sent frames|pair92[8..15]:sent bytes|pair92[16..23]:received frames|"
     "pair92[24..31]:received bytes|pair92[32..39]:tail-dropped frames|pair92[40..47]:tail-dropped bytes|"
     "pair92[48..55]:RED frames|pair92[56..63]:RED bytes|pair92[64..71]:held frames|pair92[72..79]:held bytes|"
     "pair92[80..87]:PFC frames sent|pair92[88..95]:PFC frames received"},
    {QOS_GET_ING_TMC_CHIP_BUF_STATS_MSG,
     "val56:used, high-water mark, memory|pair72:received|pair136:tail-dropped|pair200:dropped by RED|pair264:held|"
     "val328:left, ports that wait"},
    {QOS_GET_EGR_TMC_CHIP_BUF_STATS_MSG,
     "pri56:percent used|pri64[0..7]:used|pri64[16..23]:high-water mark|pri64[32..39]:bound|pri64[48..55]:free|"
     "pri64[64..71]:queues that wait|pri64[80..87]:queues paused|val640:memory|pair648:sent frames|pair712:sent bytes|"
     "pair776:tail-dropped frames|pair840:RED frames|val904[0..7]:used, high-water mark, left, ports that wait, ports"},
    {QOS_GET_ING_QUE_STATS_MSG, "pri48:received|val112:tail-dropped|flag120:something waits|pri121:waits|"
                                "pri129:sender stopped|pri137:full"},
    {QOS_GET_EGR_QUE_STATS_MSG,
     "pri48:waits|val56:used frames|flag60:something paused|val64:queues that wait|val68:high-water frames|"
     "val72:queues paused|pri73:percent used|pri84:used frames|pri116:high-water frames"},
    {QOS_GET_PLC_ING_QUE_STATS_MSG,
     "pri48:used|pri80:high-water mark|flag112:some sender stopped|pri113:sender stopped|"
     "val132:used, high-water mark, memory, left, ports that wait, ports"},
    {QOS_GET_PLC_EGR_QUE_STATS_MSG, "pri48:used|pri80:high-water mark"},
    {QOS_GET_ING_TMC_CHIP_QUE_STATS_MSG,
     "flag52:present|flag53:something waits|flag54:some sender stopped|flag55:full|flag56:lossless|flag57:paused|"
     "val68:ports that wait|val70:queues that wait"},
    {QOS_GET_EGR_TMC_CHIP_QUE_STATS_MSG, "val52[0..7]:used|val52[8..15]:high-water mark|val52[16]:used in all"},
    {QOS_GET_ING_TMC_PORT_QUE_STATS_MSG,
     "val52:queues that wait|val53:queues stopped|val54:queues lossless|val56:used|pri60:used frames"},
};

std::string_view knownName(uint8_t code, std::string_view label)
{
    for (const names_t &row : NAMES)
        for (std::string_view rest = row.names; row.code == code && !rest.empty();) {
            const std::string_view each = rest.substr(0, rest.find('|'));
            rest.remove_prefix(std::min(each.size() + 1, rest.size()));
            if (each.size() > label.size() && each[label.size()] == ':' && each.substr(0, label.size()) == label)
                return each.substr(label.size() + 1);
        }
    return "";
}

} // namespace

std::string ctlStatsRowName(const ctlStatsView_t &view, const std::string &label)
{
    const bool pair = label.rfind("pair", 0) == 0;
    const std::string suffix = label.rfind("pri", 0) == 0 || pair ? " by priority" : "";
    if (const std::string known(knownName(view.code, label)); !known.empty())
        return known + (known.find(',') == std::string::npos ? suffix : "");
    const size_t end = std::min(label.find('['), label.size()), digits = label.find_first_of("0123456789");
    const wireField *field = ctlField(ctlBodyOf(*qosMsgInfo(view.code)), label.substr(0, end));
    if (field == nullptr || digits > end)
        return label;
    const unsigned width = pair ? 8 : field->width;
    const char *unit = width == 8 ? "long word " : width == 4 ? "word " : width == 2 ? "half word " : "byte ";
    return unit + label.substr(digits) + suffix;
}
