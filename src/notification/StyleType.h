#pragma once

// The state a style's attributes apply to. Only `normal` reaches the attributed
// strings the system builds; the other two are kept for styles of controls.
enum class StyleType { normal, disabled, highlighted };
