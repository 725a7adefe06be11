# Settings of the site: NAME=value, one on each line. Pages read them with ^env[NAME].
SITE_NAME=A small garden
TZ=UTC
