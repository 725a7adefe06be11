<?php
function down($n) {
  if ($n == 0) {
    echo 'x';
    return;
  }
  echo '<i>';
  down($n - 1);
  echo '</i>';
}
for ($k = 1; $k <= 200; $k++): ?>
<p><?php down(200) ?></p>
<?php endfor ?>
