<?php
function down($n) {
  return $n ? '<i>' . down($n - 1) . '</i>' : 'x';
}
for ($k = 1; $k <= 200; $k++): ?>
<p><?= down(200) ?></p>
<?php endfor ?>
