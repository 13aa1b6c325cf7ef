#pragma once

// Whether a tag of the markup opens ("<b>") or closes ("</b>") a range.
enum class TagType { start, end };
