# Settings of the site, read at each request: NAME=value, one a line. Pages read them with ^env[NAME].
SHOP_NAME=The Inkwell
SHOP_TOWN=Salzburg
# Where the contact form sends its messages.
SHOP_MAIL=shop@localhost
# Opening hours and logs in local time: CET with its summer time.
TZ=CET-1CEST,M3.5.0,M10.5.0/3
# The database of the shop and the board, unless the web server says it as scripts/demo does:
# QUILLET_DATABASE=user:password@host:port/database
