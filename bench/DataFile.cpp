#include "bench/DataFile.h"

std::string DataFileOf(std::size_t records, long end)
{
    std::string text = "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<xml>\r\n";
    for (const char* type : {"Dial-up", "WiFi", "ADSL"})
        text += "<transfer type=\"" + std::string(type) + "\"/>\r\n";
    text += "<total>\r\n";
    for (std::size_t i = 0; i < records; ++i) {
        const long ended = end - static_cast<long>(records - 1 - i) * 3600;
        text += "<item device=\"/eth0/1/\" apn=\"home\" starttime=\"" + std::to_string(ended - 1800) +
                "\" endtime=\"" + std::to_string(ended) + "\" time=\"1800\" uploaded=\"" +
                std::to_string(1'000'000 + i) + "\" downloaded=\"" + std::to_string(20'000'000 + i) +
                "\" unitprice=\"0\" fee=\"0\"/>\r\n";
    }
    return text + "</total>\r\n</xml>\r\n";
}
