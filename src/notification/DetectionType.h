#pragma once

// What found a styled range of an attributed text.
enum class DetectionType { tag, hashtag, mention, regex, phoneNumber, link, textCheckingType, range };
