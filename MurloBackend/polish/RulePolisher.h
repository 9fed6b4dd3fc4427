#pragma once

#include "MurloBackend/polish/Polisher.h"

#include <memory>

namespace murlo::backend {

/// A modest clean-up by rules, for a backend without a language model: it tidies what was said and
/// rewrites nothing. In texts that look English it removes "um" and "uh", a "you know", "I mean" or
/// "like" set off by commas, and slips such as "the the"; except for terminals, editors and coding
/// agents it also closes blanks before punctuation, begins sentences with a capital and ends the
/// text with a full stop or question mark. In others it only reduces runs of blanks. Line breaks,
/// fenced or indented code, addresses and words that look like code stay; no word is added. Done
/// again it changes nothing. Takes time in proportion to the text's length; completes during the
/// call.
[[nodiscard]] std::unique_ptr<Polisher> makeRulePolisher();

} // namespace murlo::backend
