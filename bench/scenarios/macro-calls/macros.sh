product() { printf '%s' "<span class=\"product\">$1</span> for <span class=\"price\">$2 euros</span>"; }
