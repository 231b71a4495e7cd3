// The three looks of a tag pill.
#pragma once

namespace tessivo {

/// fill: tinted background; outline: a border only; selected: the accent.
enum class TagViewStyle { fill, outline, selected };

} // namespace tessivo
